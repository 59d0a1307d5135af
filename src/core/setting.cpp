#include "core/setting.h"

namespace orba {

Setting setting(const char *key, int space) {
  return Setting(nvram_bufget(space, key));
}

Setting storedSetting(const char *key, int space) {
  return Setting(nvram_get(space, key));
}

Setting wanSetting(const char *key, int wan) {
  Text<64> name(key);
  if (wan != 1) name.format("%d", wan);
  return setting(name.text());
}

}  // namespace orba
