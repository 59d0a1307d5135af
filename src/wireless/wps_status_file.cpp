#include "wireless/wps_status_file.h"

#include "core/command.h"
#include "core/console.h"
#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kStatus[] = "/tmp/wpsStatus";
constexpr char kStatus24[] = "/tmp/wpsStatus24";
constexpr char kStatus5G[] = "/tmp/wpsStatus5G";

constexpr int kNoSession = 999;
// What others leave in /tmp/wpsStatus while a session runs, and what it becomes
// at the first end that is seen; at the next one there is no session any more.
constexpr int kRunning = 1;
constexpr int kEnded = 2;

// The beginning of a small file; false when it cannot be opened.
template <size_t N>
bool readBeginning(const char *path, char (&text)[N]) {
  Descriptor file(openOurs(path));
  if (!file) return false;
  ssize_t length = read(file.get(), text, N - 1);
  text[length > 0 ? length : 0] = '\0';
  return true;
}

// An echo that went through the runner leaves its file empty, because the
// runner's redirection stands behind the line's own. What the file still lacks
// is written here, without the heap, since the monitors run in a signal handler.
void echo(int (*run)(const char *line, ...), const char *line, const char *path, int number) {
  if (!claimFile(path)) return;
  run(line, number);
  Text<16> wanted;
  wanted.format("%d\n", number);
  char found[16];
  if (!readBeginning(path, found) || !wanted.is(found)) writeOurs(path, wanted.text());
}

int readStatus(const char *path, const char *complaint) {
  char text[32];
  if (!readBeginning(path, text)) {
    print(STDERR_FILENO, "%s", complaint);
    return -1;
  }
  return toNumber(text);
}

void endSession() {
  echo(doSystem, "echo \"2\" > /tmp/wpsStatus", kStatus, kEnded);
}

}  // namespace

void writeStatus24(int status) {
  echo(doSystem, "echo %d > /tmp/wpsStatus24", kStatus24, status);
}

void clearStatus24() {
  echo(doSystem, "echo \"999\" > /tmp/wpsStatus24", kStatus24, kNoSession);
}

void clearStatus() {
  echo(doSystem, "echo \"999\" > /tmp/wpsStatus", kStatus, kNoSession);
}

void clearStatusDirectly() {
  echo(runDirectly, "echo \"999\" > /tmp/wpsStatus", kStatus, kNoSession);
}

}  // namespace orba

int getWscResultOrba(void) {
  return orba::readStatus(orba::kStatus, "Can't open file wpsStatus \n");
}

int getWscResultGUIOrba(void) {
  return orba::readStatus(orba::kStatus5G, "Can't open file wpsStatus5G \n");
}

void updateWpsStatusFlag(void) {
  switch (getWscResultOrba()) {
    case orba::kRunning:
      orba::endSession();
      break;
    case orba::kEnded:
    case -1:  // no file
      orba::clearStatus();
      doSystem("sys ledctl 1");
      break;
  }
  orba::clearStatus24();
}
