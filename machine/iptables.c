/* iptables of the booted router: the present one where the words say the same to it, else the lab's
 * script, which translates the device's older dialect. A shell for each of a rebuild's commands
 * would take a fourth of its time. */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int is(const char *word, const char *one) {
  return strcmp(word, one) == 0;
}

static int older(char **words, int count) {
  for (int i = 0; i < count; i++) {
    if (is(words[i], "webstr") || is(words[i], "macrange") || is(words[i], "mac") ||
        is(words[i], "--log-level"))
      return 1;
    if (words[i][0] == '-' && i + 2 < count && is(words[i + 1], "!") && words[i + 2][0] != '-')
      return 1;
  }
  return 0;
}

int main(int argc, char **argv) {
  char **words = calloc((size_t)argc + 3, sizeof *words);
  if (words == NULL) return 127;
  if (older(argv + 1, argc - 1)) {
    execv("/run/lab/tools/iptables", argv);
    return 127;
  }
  words[0] = "iptables";
  words[1] = "-w";
  words[2] = "10";
  memcpy(words + 3, argv + 1, ((size_t)argc - 1) * sizeof *words);
  execv("/usr/sbin/iptables", words);
  return 127;
}
