// Reading the settings store.
#ifndef ORBA_CORE_SETTING_H
#define ORBA_CORE_SETTING_H

#include "core/text.h"
#include "nvram.h"

namespace orba {

// The main configuration, and the 5 GHz module's.
constexpr int kMainSpace = 1;
constexpr int kModuleSpace = 2;

// One value as it was read. A missing one answers like an empty one, and can
// be told from it. The text belongs to the store.
class Setting {
 public:
  explicit Setting(const char *value) : value_(value) {}

  bool missing() const { return value_ == nullptr; }
  bool empty() const { return *text() == '\0'; }
  const char *text() const { return value_ != nullptr ? value_ : ""; }
  int number() const { return toNumber(text()); }
  bool on() const { return number() != 0; }
  bool is(const char *other) const { return value_ != nullptr && same(value_, other); }
  bool isOneOf(const char *a, const char *b) const { return is(a) || is(b); }
  bool isOneOf(const char *a, const char *b, const char *c) const {
    return is(a) || is(b) || is(c);
  }

 private:
  const char *value_;
};

// The value of `key` as this process last buffered it.
Setting setting(const char *key, int space = kMainSpace);

// The value of `key` read through the store's direct call.
Setting storedSetting(const char *key, int space = kMainSpace);

// Keys that carry a WAN's number: "wan_gateway" for WAN 1, "wan_gateway3" for WAN 3.
Setting wanSetting(const char *key, int wan);

}  // namespace orba

#endif
