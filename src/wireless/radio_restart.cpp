// Restarting the 2.4 GHz radio and what hangs on it: the 802.1X authenticator
// and Wi-Fi Protected Setup.
#include <unistd.h>

#include "core/command.h"
#include "core/rule_list.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr size_t kRecordSize = 128;

// A mode whose stations are let in by a RADIUS server.
bool asksRadius(const Slice &auth_mode) {
  return auth_mode.is("WPA") || auth_mode.is("WPA2") || auth_mode.is("WPA1WPA2");
}

bool isOn(const Slice &flag) {
  return flag.is("1");
}

bool isOff(const Slice &flag) {
  return flag.is("0");
}

// Whether `wanted` holds for one of a list's first `count` records, each of
// which stands for one network of the radio.
bool anyOfFirst(int count, const Setting &list, bool (*wanted)(const Slice &)) {
  for (Record record : RuleList(list.text(), kRecordSize)) {
    if (record.index() >= count) break;
    if (wanted(record.slice())) return true;
  }
  return false;
}

}  // namespace

}  // namespace orba

int WlanRestart(void) {
  updateFlash8021x(orba::kMainSpace);
  doSystem("wlan.sh");
  restart8021XDaemon(orba::kMainSpace);
  return WPSRestart();
}

int wlan_init(void) {
  WPSRestart();
  return static_cast<int>(sleep(3));
}

// Only the main configuration has an authenticator to run; for any other space
// nothing is started or stopped.
void restart8021XDaemon(int space) {
  orba::Setting networks = orba::setting("BssidNum", space);
  if (networks.missing() || space != orba::kMainSpace) return;

  doSystem("killall rt2860apd 1>/dev/null 2>&1");
  int count = networks.number();
  if (orba::anyOfFirst(count, orba::setting("AuthMode", space), orba::asksRadius) ||
      orba::anyOfFirst(count, orba::setting("IEEE8021X", space), orba::isOn)) {
    doSystem("rt2860apd");
  }
}

// Only the first network's flag counts, and only "0" turns the radio down.
int InitWireless_ra0(void) {
  if (orba::anyOfFirst(1, orba::setting("WlanEnabled"), orba::isOff)) {
    orba::runDirectly("ifconfig ra0 down");
  } else {
    orba::runDirectly("ifconfig ra0 up");
  }
  return 0;
}
