// The site survey: has the driver look around and prints who is there.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/file.h"
#include "core/pause.h"
#include "wireless/driver_oid.h"
#include "wireless/survey_record.h"

namespace orba {

namespace {

constexpr char kRadio[] = "ra0";
constexpr size_t kListSize = 0x20000;
constexpr int kLongestRequest = 0xFFFF;
static_assert(kLongestRequest < kListSize, "the driver must not reach behind the list");

class SurveyList {
 public:
  SurveyList() : bytes_(static_cast<uint8_t *>(calloc(1, kListSize))) {}
  SurveyList(const SurveyList &) = delete;
  SurveyList &operator=(const SurveyList &) = delete;
  ~SurveyList() { free(bytes_); }

  explicit operator bool() const { return bytes_ != nullptr; }
  uint8_t *bytes() { return bytes_; }
  void clear() { memset(bytes_, 0, kListSize); }
  uint32_t count() const { return ByteView(bytes_, kListSize).u32(0); }
  ByteView records() const { return ByteView(bytes_, kListSize).from(4); }

 private:
  uint8_t *bytes_;
};

// The driver answers for a network it is just joining, so it is given some time
// to say that it is connected; then it is asked which network that is. The
// pages mark no network as the present one, so nothing comes of the answers.
bool awaitConnection(int driver) {
  uint32_t connected = 0;
  for (int query = 0; query < 3 && connected != 1; query++) {
    if (queryOid(OID_GEN_MEDIA_CONNECT_STATUS, driver, kRadio, connected) < 0) {
      debug("Query OID_GEN_MEDIA_CONNECT_STATUS failed!");
      return false;
    }
    pauseFor(2);
  }
  uint8_t radio_on = 0;
  if (queryOid(RT_OID_802_11_RADIO, driver, kRadio, radio_on) < 0) {
    debug("Query RT_OID_802_11_RADIO failed!");
    return false;
  }
  if (connected == 1 && radio_on != 0) {
    uint8_t bssid[6] = {};
    uint8_t ssid[36] = {};
    queryOid(OID_802_11_BSSID, driver, kRadio, bssid);
    queryOid(OID_802_11_SSID, driver, kRadio, ssid);
  }
  return true;
}

bool scan(int driver) {
  if (OidSetInformation(OID_802_11_BSSID_LIST_SCAN, driver, kRadio, nullptr, 0) < 0) {
    debug("Set OID_802_11_BSSID_LIST_SCAN failed!");
    return false;
  }
  pauseFor(2);
  return true;
}

// The length to ask for first; newer drivers report more about each network.
bool initialLength(int driver, int &length) {
  uint32_t version = 16;
  int result = queryOid(RT_OID_WE_VERSION_COMPILED, driver, kRadio, version);
  if (result < 0) {
    debug("Query RT_OID_WE_VERSION_COMPILED error! return=%d", result);
    return false;
  }
  length = version < 17 ? 4096 : 8192;
  return true;
}

// errno is looked at before the result, on purpose: an EAGAIN left over from an
// earlier call costs a second of sleep even when the driver did answer.
bool fetch(int driver, int length, SurveyList &list) {
  constexpr int kAttempts = 26;
  constexpr int kEnlargements = 21;
  int attempts = 0;
  int enlargements = 0;
  int result;
  do {
    list.clear();
    result = OidQueryInformation(OID_802_11_BSSID_LIST, driver, kRadio, list.bytes(), length);
    if (errno == EAGAIN) {
      attempts++;
      pauseFor(1);
      if (attempts == kAttempts) {
        debug("Query OID_802_11_BSSID_LIST error! errno == EAGAIN");
        return false;
      }
    } else if (errno == E2BIG) {
      if (enlargements == kEnlargements) {
        debug("Query OID_802_11_BSSID_LIST error! E2BIG");
        return false;
      }
      enlargements++;
      length *= 2;
      if (length > kLongestRequest) length = kLongestRequest;
    } else if (result < 0) {
      debug("Query OID_802_11_BSSID_LIST error! return=%d", result);
      return false;
    }
  } while (result < 0);
  return true;
}

void trace(int index, const NetworkDescription &network) {
  debug("======%d======\n", index);
  debug("tmpSSID=%s\n", network.ssid.text());
  debug("tmpBSSID=%s\n", network.bssid.text());
  debug("tmpRSSI=%s\n", network.rssi.text());
  debug("tmpChannel=%s\n", network.channel.text());
  debug("tmpAuth=%s\n", network.auth.text());
  debug("tmpEncry=%s\n", network.encryption.text());
  debug("tmpNetworkType=%s\n", network.network_type.text());
}

void print(const NetworkDescription &network) {
  printf("{");
  printf("ssid:'%s',", network.ssid.text());
  printf("bssid:'%s',", network.bssid.text());
  printf("rssi:'%s',", network.rssi.text());
  printf("channel:'%s',", network.channel.text());
  printf("encryption:'%s',", network.encryption.text());
  printf("auth:'%s',", network.auth.text());
  printf("network_type:'%s'", network.network_type.text());
  printf("}");
}

// A network on an unknown frequency hides all behind it, and the comma in front
// of it stays: the pages are used to that. A damaged record ends the list in
// the same way.
void printNetworks(const SurveyList &list) {
  ByteView records = list.records();
  uint32_t count = list.count();
  for (uint32_t i = 0; i < count; i++) {
    ByteView record = firstRecord(records);
    NetworkDescription network;
    if (record.size() == 0 || !describeNetwork(record, network)) return;
    records = records.from(record.size());
    trace(static_cast<int>(i), network);
    print(network);
    if (i != count - 1) printf(",");
  }
}

}  // namespace

}  // namespace orba

int printStaBssidList(void) {
  using namespace orba;
  Descriptor driver(socket(AF_INET, SOCK_DGRAM, 0));
  SurveyList list;
  int length;
  if (!list) return -1;
  if (!awaitConnection(driver.get())) return -1;
  if (!scan(driver.get())) return -1;
  if (!initialLength(driver.get(), length)) return -1;
  if (!fetch(driver.get(), length, list)) return -1;
  if (list.count() == 0) {
    debug("Bssid List number is 0!\n");
    return 0;
  }
  printf("Content-Type: text/html\n\n");
  printf("[");
  printNetworks(list);
  printf("]");
  return 0;
}
