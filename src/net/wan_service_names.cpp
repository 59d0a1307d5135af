// The names that the WANs' services have on the web pages.
#include "core/text.h"
#include "net/interface_name.h"
#include "orba_util.h"

// A bar stands only behind what is there already: empty names in front vanish,
// later ones leave their bar.
int wanSrvName(char *dst) {
  orba::Text<128> names;
  for (int wan = 1; wan <= orba::kWans; wan++) {
    if (!names.empty()) names.append("|");
    names.append(orba::wanSetting("srvName", wan).text());
  }
  orba::copyText(dst, names.size(), names.text());
  return 1;
}
