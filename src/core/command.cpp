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

// "producer > path" or "producer >> path", taken apart at its last '>'.
struct IntoFile {
  Text<kCommandSize> producer;
  Text<128> path;
  bool append = false;

  explicit IntoFile(const char *line) {
    const char *arrow = strrchr(line, '>');
    if (arrow == nullptr) return;
    const char *target = arrow + 1 + strspn(arrow + 1, " ");
    path.append(target, strcspn(target, " "));
    append = arrow > line && arrow[-1] == '>';
    producer.append(line, static_cast<size_t>(arrow - line) - (append ? 1 : 0));
  }

  bool echoed() const { return !append && strncmp(producer.text(), "echo ", 5) == 0; }
};

off_t sizeOf(const char *path) {
  struct stat status;
  return stat(path, &status) == 0 ? status.st_size : 0;
}

void writeProduced(const IntoFile &parts) {
  Pipe pipe(parts.producer.text());
  if (!pipe) return;
  File file(parts.path.text(), parts.append ? "a" : "w");
  if (!file) return;
  char block[512];
  size_t length;
  while ((length = fread(block, 1, sizeof block, pipe.get())) > 0) {
    fwrite(block, 1, length, file.get());
  }
}

}  // namespace

bool commandRuns() {
  return running != 0;
}

bool mayRun(const TextBuffer &line) {
  // Most lines have no quote, and are soon looked through for one.
  bool holds_option = strchr(line.text(), '\'') != nullptr &&
                      strstr(line.text(), ShellWord::kOption) != nullptr;
  if (line.fits() && !holds_option) return true;
  debug("command %s, not run: %.80s...\n", line.fits() ? "with an option for a value" : "too long",
        line.text());
  return false;
}

void runIntoFile(const char *format, ...) {
  Text<kCommandSize> line;
  va_list arguments;
  va_start(arguments, format);
  line.formatList(format, arguments);
  va_end(arguments);
  IntoFile parts(line.text());
  // A file that an echo makes is emptied first, so that what stands in it
  // afterwards is the echo's. One that another program fills is left to the shell,
  // which empties it: what stands there afterwards, whoever wrote it, is not
  // fetched again.
  if (parts.echoed()) Descriptor(open(parts.path.text(), O_WRONLY | O_TRUNC));
  off_t before = parts.append ? sizeOf(parts.path.text()) : 0;

  line.append(kDiscard);
  if (!mayRun(line) || !parts.path.fits()) return;
  run(line);
  if (sizeOf(parts.path.text()) == before) writeProduced(parts);
}

int runDirectly(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = runFormatted(format, arguments, "");
  va_end(arguments);
  return count;
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
