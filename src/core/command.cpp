#include "core/command.h"

#include <sys/stat.h>

#include <cstdlib>

#include "core/file.h"
#include "core/shell_word.h"
#include "core/text.h"

namespace orba {

namespace {

// Commands that have not come back yet.
volatile int running;

void run(const TextBuffer &line) {
  running = running + 1;
  (void)!system(line.text());
  running = running - 1;
}

constexpr char kDiscard[] = " 1>/dev/null 2>&1";
constexpr char kDiscardInBackground[] = " 1>/dev/null 2>&1 &";

// Formats one line, appends a redirection and gives it to the shell. Returns
// the length of the formatted text as vsprintf would count it.
int runFormatted(const char *format, va_list arguments, const char *redirection) {
  Text<kCommandSize> line;
  int count = line.formatList(format, arguments);
  line.append(redirection);
  if (mayRun(line)) run(line);
  return count;
}

int runEach(const char *commands, int (*run_one)(const char *format, ...)) {
  int result = 0;
  while (*commands != '\0') {
    size_t length = strcspn(commands, "\n");
    result = run_one("%.*s", static_cast<int>(length), commands);
    commands += length;
    if (*commands == '\n') commands++;
  }
  return result;
}

off_t sizeOf(const char *path) {
  struct stat status;
  return stat(path, &status) == 0 ? status.st_size : 0;
}

void writeProduced(const char *producer, const char *path, int mode) {
  Pipe pipe(producer);
  if (!pipe) return;
  Descriptor file(open(path, O_WRONLY | O_CREAT | mode, 0666));
  char block[512];
  size_t length;
  while ((length = fread(block, 1, sizeof block, pipe.get())) > 0) {
    (void)!write(file.get(), block, length);
  }
}

struct Redirection {
  const char *sign;
  int mode;
};
constexpr Redirection kInto = {"> ", O_TRUNC};
constexpr Redirection kOnto = {">> ", O_APPEND};

void redirect(const Redirection &redirection, const char *file, const char *producer,
              va_list arguments) {
  Text<kCommandSize> line;
  line.formatList(producer, arguments);
  size_t producer_length = line.append(" ").length();
  line.append(redirection.sign).append(file).append(kDiscard);
  if (!mayRun(line)) return;
  Text<128> path;
  path.append(file, strcspn(file, " "));

  // A file that an echo makes is emptied first, so that what stands in it
  // afterwards is the echo's. One that another program fills is left to the shell,
  // which empties it: what stands there afterwards, whoever wrote it, is not
  // fetched again.
  bool appends = redirection.mode == O_APPEND;
  bool echoes = strncmp(producer, "echo ", 5) == 0;
  if (!appends && echoes) Descriptor(open(path.text(), O_WRONLY | O_TRUNC));
  off_t before = appends ? sizeOf(path.text()) : 0;
  run(line);
  if (sizeOf(path.text()) != before) return;
  line.cutTo(producer_length);
  writeProduced(line.text(), path.text(), redirection.mode);
}

}  // namespace

bool commandRuns() {
  return running != 0;
}

bool mayRun(const TextBuffer &line) {
  // Most lines have no quote, and are soon looked through for one.
  bool holds_option =
      strchr(line.text(), '\'') != nullptr && strstr(line.text(), ShellWord::kOption) != nullptr;
  if (line.fits() && !holds_option) return true;
  debug("command %s, not run: %.80s...\n", line.fits() ? "with an option for a value" : "too long",
        line.text());
  return false;
}

void runIntoFile(const char *path, const char *producer, ...) {
  va_list arguments;
  va_start(arguments, producer);
  redirect(kInto, path, producer, arguments);
  va_end(arguments);
}

void appendToFile(const char *path, const char *producer, ...) {
  va_list arguments;
  va_start(arguments, producer);
  redirect(kOnto, path, producer, arguments);
  va_end(arguments);
}

int runDirectly(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = runFormatted(format, arguments, "");
  va_end(arguments);
  return count;
}

int runAll(const char *commands) {
  return runEach(commands, doSystem);
}

int runAllDirectly(const char *commands) {
  return runEach(commands, runDirectly);
}

}  // namespace orba

int doSystem(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = orba::runFormatted(format, arguments, orba::kDiscard);
  va_end(arguments);
  return count;
}

int doSystemBackGround(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = orba::runFormatted(format, arguments, orba::kDiscardInBackground);
  va_end(arguments);
  return count;
}

// The same as doSystem by intent; the site survey and the 5 GHz statistics
// call it under this name.
int doSystemWithoutConsole(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = orba::runFormatted(format, arguments, orba::kDiscard);
  va_end(arguments);
  return count;
}
