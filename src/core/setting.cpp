#include "core/setting.h"

namespace orba {

const char Setting::kMissing[1] = "";

const char *Setting::readBuffered(const char *key, int space) {
  const char *value = nvram_bufget(space, key);
  return value != nullptr ? value : kMissing;
}

const char *Setting::readStored(const char *key, int space) {
  const char *value = nvram_get(space, key);
  return value != nullptr ? value : kMissing;
}

bool Setting::is(const char *other) const {
  return !missing() && same(text_, other);
}

Setting wanSetting(const char *key, int wan) {
  Text<64> name(key);
  if (wan != 1) name.format("%d", wan);
  return setting(name.text());
}

}  // namespace orba
