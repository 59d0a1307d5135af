// The 2.4 GHz driver: the wireless requests on ra0, rai0, apcli0 ...
//
//   sim::Radio &radio = device.part<sim::Radio>();
//   radio.networks(sim::readNeighbourhood(text)).channel(6);
//   radio.fail(0x0609, EAGAIN, 3);               // the first three times
//   radio.number(0x0751, 34, "apcli0");          // a value of an OID
//   radio.script(0x0751, [&] { return ...; });   // worked out at each query
//
// A radio as it comes is on, connected, and has a driver built against version
// 16 of the wireless extensions; an OID without a value fails with EOPNOTSUPP.
#ifndef ORBA_SIM_RADIO_H
#define ORBA_SIM_RADIO_H

#include <array>
#include <functional>
#include <map>
#include <utility>

#include "sim/device.h"
#include "sim/neighbourhood.h"

struct iwreq;

namespace sim {

// A request as it came to the driver.
struct RadioRequest {
  unsigned long number;
  std::string ifname;
  const void *buffer;
  int length;
  int flags;
};

class Radio : public Part {
 public:
  using Script = std::function<Bytes()>;
  using Name = std::pair<std::string, int>;  // of an interface, and an OID

  explicit Radio(Device &device);

  // What a query of an OID is answered with. A query with less room than the
  // value takes fails with E2BIG, as all do that have less than `needs` says.
  Radio &value(int oid, const Bytes &bytes, const std::string &ifname = "ra0");
  Radio &number(int oid, uint32_t number, const std::string &ifname = "ra0");
  Radio &script(int oid, Script script, const std::string &ifname = "ra0");
  Radio &needs(int oid, int length);
  // All values as they are now.
  std::map<Name, Bytes> values() const;
  // Queries and sets of an OID fail with this errno, so many times or for good.
  Radio &fail(int oid, int error, int times = -1);

  // The survey's answer.
  Radio &networks(const std::vector<Network> &networks);
  // The answers to the requests for the frequency, the traffic counters
  // (received and sent packets, received and sent bytes) and the WPS profile.
  Radio &channel(int channel, const std::string &ifname = "ra0");
  Radio &counters(const std::array<uint32_t, 4> &counters, const std::string &ifname = "ra0");
  Radio &profile(const Bytes &record, const std::string &ifname = "ra0");

  // All requests so far; those that set something are in the device's events
  // too, as "ra0 set 0x0508: " and the bytes in hexadecimal.
  const std::vector<RadioRequest> &seen() const { return seen_; }
  void forget() { seen_.clear(); }

  std::optional<int> request(unsigned long number, void *argument) override;

 private:
  int oidRequest(const RadioRequest &request, iwreq &block);
  int query(const RadioRequest &request, iwreq &block);
  bool failsNow(int oid);

  struct Failure {
    int error;
    int times;
  };
  std::map<Name, Script> values_;
  std::map<int, int> needs_;
  std::map<int, Failure> failures_;
  std::map<std::string, int> channels_;
  std::map<std::string, Bytes> counters_;
  std::map<std::string, Bytes> profiles_;
  std::vector<RadioRequest> seen_;
};

}  // namespace sim

#endif
