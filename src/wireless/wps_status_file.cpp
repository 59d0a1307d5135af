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

// The runner's redirection stands behind the echo's own, so that the shell makes the
// file and throws the text away; and it may be that no shell can be started. So the
// text is written here in any case, without the heap that runIntoFile's pipe needs: the
// monitors run in a signal handler.
void echo(int (*run)(const char *line, ...), const char *path, int number, const char *line) {
  if (!claimFile(path)) return;
  run(line, number);
  Text<16> text;
  writeOurs(path, text.format("%d\n", number).text());
}

int readStatus(const char *path, const char *complaint) {
  Descriptor file(openOurs(path));
  if (!file) {
    print(STDERR_FILENO, "%s", complaint);
    return -1;
  }
  char text[32];
  ssize_t length = read(file.get(), text, sizeof text - 1);
  text[length > 0 ? length : 0] = '\0';
  return toNumber(text);
}

}  // namespace

void writeStatus24(int status) {
  echo(doSystem, kStatus24, status, "echo %d > /tmp/wpsStatus24");
}

void clearStatus24() {
  echo(doSystem, kStatus24, kNoSession, "echo \"999\" > /tmp/wpsStatus24");
}

void clearStatus() {
  echo(doSystem, kStatus, kNoSession, "echo \"999\" > /tmp/wpsStatus");
}

void clearStatusDirectly() {
  echo(runDirectly, kStatus, kNoSession, "echo \"999\" > /tmp/wpsStatus");
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
      orba::echo(doSystem, orba::kStatus, orba::kEnded, "echo \"2\" > /tmp/wpsStatus");
      break;
    case orba::kEnded:
    case -1:  // no file
      orba::clearStatus();
      doSystem("sys ledctl 1");
      break;
  }
  orba::clearStatus24();
}
