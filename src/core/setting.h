// Reading the settings store.
#ifndef ORBA_CORE_SETTING_H
#define ORBA_CORE_SETTING_H

#include "core/text.h"
#include "nvram.h"

#pragma GCC visibility push(hidden)
namespace orba {

// The main configuration, and the 5 GHz module's.
constexpr int kMainSpace = 1;
constexpr int kModuleSpace = 2;

// One value as it was read. A missing one answers like an empty one, and can
// be told from it. The text belongs to the store.
class Setting {
 public:
  // The value of `key` as this process last buffered it.
  static Setting buffered(const char *key, int space) { return Setting(readBuffered(key, space)); }
  // The value of `key` read through the store's direct call.
  static Setting stored(const char *key, int space) { return Setting(readStored(key, space)); }

  bool missing() const { return text_ == kMissing; }
  bool empty() const { return *text_ == '\0'; }
  const char *text() const { return text_; }
  int number() const { return toNumber(text_); }
  bool on() const { return number() != 0; }
  bool is(const char *other) const;
  bool isOneOf(const char *a, const char *b) const { return is(a) || is(b); }
  bool isOneOf(const char *a, const char *b, const char *c) const {
    return is(a) || is(b) || is(c);
  }

 private:
  static const char kMissing[1];

  // Calls, and not inline: settings are read in hundreds of places, and the
  // device's flash is small. kMissing when there is none.
  static const char *readBuffered(const char *key, int space);
  static const char *readStored(const char *key, int space);

  explicit Setting(const char *text) : text_(text) {}

  const char *text_;
};

inline Setting setting(const char *key, int space = kMainSpace) {
  return Setting::buffered(key, space);
}

inline Setting storedSetting(const char *key, int space = kMainSpace) {
  return Setting::stored(key, space);
}

// Keys that carry a WAN's number: "wan_gateway" for WAN 1, "wan_gateway3" for WAN 3.
Setting wanSetting(const char *key, int wan);

}  // namespace orba
#pragma GCC visibility pop

#endif
