// Whether the WAN port's cable carries a link.
#include <cstdlib>
#include <cstring>

#include "core/file.h"
#include "orba_util.h"

int getWANLinkStatus(void) {
  orba::Pipe answer("switch reg r 3608");
  if (!answer) return 0;
  char text[257];
  answer.readAll(text);
  constexpr char kLabel[] = "value=";
  const char *value = strstr(text, kLabel);
  if (value == nullptr) return 0;
  return static_cast<int>(strtoull(value + strlen(kLabel), nullptr, 16) & 1);
}
