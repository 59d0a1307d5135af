// Traces on the console, which daemons without a terminal have too.
#include "core/console.h"

#include <fcntl.h>

#include <cstdio>

#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

void print(int fd, const char *format, ...) {
  Text<256> text;
  va_list arguments;
  va_start(arguments, format);
  text.formatList(format, arguments);
  va_end(arguments);
  (void)!write(fd, text.text(), text.length());
}

}  // namespace orba

int debug(const char *format, ...) {
  orba::Descriptor console(open("/dev/console", O_RDWR));
  char message[4096];
  va_list arguments;
  va_start(arguments, format);
  int count = vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  if (console && count > 0) (void)!write(console.get(), message, strlen(message));
  return count;
}
