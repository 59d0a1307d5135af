#include "wireless/survey_record.h"

#include "orba_util.h"
#include "wireless/information_elements.h"

namespace orba {

namespace {

// The driver's record. Fields that are not read have no name here.
enum Offset : size_t {
  kLength = 0,
  kBssid = 4,
  kSsidLength = 12,
  kSsid = 16,
  kPrivacy = 48,
  kRssi = 52,
  kFrequency = 72,
  kInfrastructure = 92,
  kRates = 96,
  kElementsLength = 112,
  kElements = 116,
};

constexpr size_t kLongestSsid = 32;
// A record this short ends with its rates.
constexpr size_t kLongestWithoutElements = 104;
constexpr size_t kShortestElements = 13;

constexpr char kUnprintable[] = "&nbsp;";

// The last byte is not looked at: a name may end in a terminator of its own.
bool isPrintable(ByteView ssid) {
  for (size_t i = 0; i + 1 < ssid.size(); i++) {
    if (ssid.u8(i) < 0x20 || ssid.u8(i) > 0x7E) return false;
  }
  return true;
}

// An empty name is shown as a blank. An unprintable one is replaced by the same
// text, which then goes through the escaping like any other name and is seen
// as what it is; a name shorter than the replacement cuts it.
void describeSsid(ByteView record, TextBuffer &shown) {
  if (record.u8(kSsid) == '\0') {
    shown.assign(kUnprintable);
    return;
  }
  ByteView ssid = record.part(kSsid, record.u32(kSsidLength));
  if (isPrintable(ssid)) {
    shown.append(reinterpret_cast<const char *>(ssid.bytes()), ssid.size());
  } else {
    shown.append(kUnprintable);
    if (ssid.size() < shown.length()) shown.cutTo(ssid.size());
  }
  shown.fill([](char *text, size_t) { return ConverterStringToDisplay(text); });
}

void describeBssid(ByteView record, TextBuffer &shown) {
  ByteView mac = record.from(kBssid);
  shown.format("%02X:%02X:%02X:%02X:%02X:%02X", mac.u8(0), mac.u8(1), mac.u8(2), mac.u8(3),
               mac.u8(4), mac.u8(5));
}

bool describeChannel(ByteView record, TextBuffer &shown) {
  uint32_t kilohertz = record.u32(kFrequency);
  for (int i = 0; i < G_nChanFreqCount; i++) {
    if (ChannelFreqTable[i].kilohertz != kilohertz) continue;
    shown.format("%u", ChannelFreqTable[i].channel);
    return true;
  }
  return false;
}

ByteView elementsOf(ByteView record) {
  uint32_t length = record.u32(kElementsLength);
  if (record.size() <= kLongestWithoutElements || length < kShortestElements) length = 0;
  return record.part(kElements, length);
}

void appendToList(bool listed, const char *name, TextBuffer &list) {
  if (!listed) return;
  if (!list.empty()) list.append("; ");
  list.append(name);
}

void describeAuthentication(const Security &security, TextBuffer &shown) {
  if (security.cckm) shown.assign("CCKM");
  // Takes the place of CCKM on purpose: the page tells them apart no further.
  if (security.wpa.enterprise) shown.assign("WPA");
  appendToList(security.wpa.psk, "WPA-PSK", shown);
  appendToList(security.wpa.none, "WPA-NONE", shown);
  appendToList(security.wpa2.enterprise, "WPA2", shown);
  appendToList(security.wpa2.psk, "WPA2-PSK", shown);
  appendToList(security.wpa2.none, "WPA2-NONE", shown);
  if (shown.empty()) shown.assign("Unknown");
}

void describeSecurity(ByteView record, NetworkDescription &network) {
  Security security;
  readSecurity(elementsOf(record), record.u32(kInfrastructure) != 0, security);
  describeAuthentication(security, network.auth);
  appendToList(security.tkip, "TKIP", network.encryption);
  appendToList(security.aes, "AES", network.encryption);
  if (!network.encryption.empty()) return;
  if (record.u32(kPrivacy) != 0) {
    network.encryption.assign("WEP");
  } else {
    network.encryption.assign("Not Use");
    network.auth.assign("OPEN");
  }
}

}  // namespace

ByteView firstRecord(ByteView records) {
  constexpr size_t kShortestRecord = kRates;
  size_t length = records.u32(kLength);
  bool whole = length >= kShortestRecord && length <= records.size();
  if (!whole || records.u32(kSsidLength) > kLongestSsid) length = 0;
  return records.part(0, length);
}

bool describeNetwork(ByteView record, NetworkDescription &network) {
  if (!describeChannel(record, network.channel)) return false;
  describeSsid(record, network.ssid);
  describeBssid(record, network.bssid);
  network.rssi.format("%d%%", static_cast<int>(ConvertRssiToSignalQuality(record.i32(kRssi))));
  // Only 1 is infrastructure here, while the elements take any mode but 0 for it.
  network.network_type.assign(record.u32(kInfrastructure) == 1 ? "Infrastructure" : "Ad Hoc");
  describeSecurity(record, network);
  return true;
}

}  // namespace orba
