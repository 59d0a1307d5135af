// The names and descriptions of the installed layer-7 protocol patterns.
#include <dirent.h>

#include <climits>

#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

char l7name[8192];

namespace orba {

namespace {

constexpr char kPatternFolder[] = "/etc_ro/l7-protocols";
constexpr char kEnding[] = ".pat";
constexpr char kUnknown[] = "N/A#N/A";

// Behind the comment mark and its blank, and behind the dash and its blank.
constexpr size_t kLead = 2;

const char *behindLead(const char *text) {
  return text + strnlen(text, kLead);
}

// The name and the description of the file read last.
char pair_space[512];

// "# Foo - bar baz\n" gives "Foo#bar baz" in the pair. The text is cut up on the
// way. Returns the warning to print when it has another form, or null; the name
// is there all the same when only the description is missing.
const char *splitFirstLine(char *line) {
  char *dash = strchr(line, '-');
  if (dash == nullptr) return "warning: can't find %s name.\n";
  *dash = '\0';
  if (dash > line && dash[-1] == ' ') dash[-1] = '\0';

  snprintf(pair_space, sizeof pair_space, "%s#", behindLead(line));

  char *intro = dash + 1;
  char *end = strchr(intro, '\n');
  if (end == nullptr) return "warning: can't find %s intro.\n";
  *end = '\0';
  if (*intro != '\0') intro++;
  size_t length = strlen(pair_space);
  copyText(pair_space + length, sizeof pair_space - length, intro);
  return nullptr;
}

void appendName(const char *text) {
  size_t length = strlen(l7name);
  copyText(l7name + length, sizeof l7name - length, text);
}

void appendPattern(const char *file_name) {
  const char *ending = strstr(file_name, kEnding);
  if (*file_name == '.' || ending == nullptr) return;
  const char *pair = getNameIntroFromPat(file_name);
  Text<NAME_MAX + 1> name;
  name.append(file_name, static_cast<size_t>(ending - file_name));
  if (*l7name != '\0') appendName(";");
  appendName(name.text());
  appendName("#");
  appendName(pair != nullptr ? pair : kUnknown);
}

}  // namespace

}  // namespace orba

const char *getNameIntroFromPat(const char *fileName) {
  using namespace orba;
  Text<512> path;
  path.format("%s/%s", kPatternFolder, fileName);
  if (!path.fits()) return nullptr;
  File file(path.text(), "r");
  if (!file) return nullptr;

  char line[512];
  *pair_space = '\0';
  const char *warning =
      file.readLine(line) ? splitFirstLine(line) : "warning: can't read %s intro.\n";
  if (warning != nullptr) {
    printf(warning, fileName);
    return kUnknown;
  }
  return pair_space;
}

void LoadLayer7FilterName(void) {
  *l7name = '\0';
  DIR *folder = opendir(orba::kPatternFolder);
  if (folder == nullptr) return;
  while (const struct dirent *entry = readdir(folder)) orba::appendPattern(entry->d_name);
  closedir(folder);
}

int getLayer7Filters(char *output) {
  LoadLayer7FilterName();
  orba::copyText(output, sizeof l7name, l7name);
  return 0;
}
