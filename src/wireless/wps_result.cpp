// The result of the last WPS run in /var/wscResult, which the web server and the
// WPS daemon share under an exclusive lock.
#include <cctype>
#include <cstdlib>

#include "core/alarm_block.h"
#include "core/console.h"
#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kResultFile[] = "/var/wscResult";

// Enough for "-1", the longest number that is stored.
constexpr size_t kDigits = 2;

// The monitors' signal waits here and below: a handler that wanted the lock which
// the code under it holds would wait in vain.

// False when there is no file. What does not fit is left out.
bool readResult(char *text, size_t size) {
  AlarmBlock alarm;
  Descriptor file(openOurs(kResultFile));
  if (!file) return false;
  lockShortly(file.get());
  ssize_t length = read(file.get(), text, size - 1);
  text[length > 0 ? length : 0] = '\0';
  return true;
}

// The WPS daemon cannot work without the file: the process ends when it cannot
// be made.
void writeResult(int value, const char *complaint) {
  AlarmBlock alarm;
  claimFile(kResultFile);
  Descriptor file(openOurs(kResultFile, O_WRONLY));
  if (!file) {
    print(STDERR_FILENO, "%s", complaint);
    exit(1);
  }
  Text<16> text;
  text.format("%d", value);
  lockShortly(file.get());
  // Emptied only now, so that nobody reads a file without a number.
  if (ftruncate(file.get(), 0) == 0) (void)!write(file.get(), text.text(), text.length());
}

// The number that the first two characters apart from blanks make.
int solidNumber(const char *text) {
  char solid[kDigits + 1] = "";
  for (size_t kept = 0; *text != '\0' && kept < kDigits; text++) {
    if (!isspace(static_cast<unsigned char>(*text))) solid[kept++] = *text;
  }
  return toNumber(solid);
}

}  // namespace

}  // namespace orba

void setWscResult(int value) {
  char stored[orba::kDigits + 1];
  if (orba::readResult(stored, sizeof stored) && orba::toNumber(stored) == value) return;
  orba::writeResult(value, "Can't open file wscResult \n");
}

int getWscResult(void) {
  char stored[32];
  if (!orba::readResult(stored, sizeof stored)) {
    orba::writeResult(0, "Can't write file wscResult \n");
    return 0;
  }
  int result = orba::solidNumber(stored);
  return result == 1 || result == -1 ? result : 0;
}
