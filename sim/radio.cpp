#include "sim/radio.h"

#include <linux/wireless.h>

#include <cerrno>
#include <cstring>

namespace sim {

namespace {

constexpr unsigned long kOid = 0x8BE1;
constexpr unsigned long kProfile = 0x8BF2;
constexpr unsigned long kFrequency = 0x8B05;
constexpr unsigned long kCounters = 0x8B0E;
constexpr int kSetBit = 0x8000;
constexpr int kSurveyList = 0x0609;
// What a request for the counters brings room for, and what the driver leaves in
// the part of it that is not theirs.
constexpr int kCountersLength = 32;
constexpr uint8_t kNoCounter = 0xEE;

int failWith(int error) {
  errno = error;
  return -1;
}

// Fills the caller's buffer as far as both reach.
int give(const Bytes &value, iwreq &block) {
  size_t length = block.u.data.length;
  if (value.size() < length) length = value.size();
  if (length > 0) memcpy(block.u.data.pointer, value.data(), length);
  block.u.data.length = static_cast<__u16>(length);
  return 0;
}

template <typename Values>
int giveFrom(const Values &values, const std::string &ifname, iwreq &block) {
  auto found = values.find(ifname);
  return found != values.end() ? give(found->second, block) : failWith(ENODEV);
}

std::string described(const RadioRequest &request) {
  char number[16];
  snprintf(number, sizeof number, "0x%04x", static_cast<unsigned>(request.flags & ~kSetBit));
  std::string text = request.ifname + " set " + number + ":";
  for (int i = 0; i < request.length; i++) {
    char byte[4];
    snprintf(byte, sizeof byte, " %02x", static_cast<const uint8_t *>(request.buffer)[i]);
    text += byte;
  }
  return text;
}

}  // namespace

Radio::Radio(Device &device) : Part(device) {
  number(0x060B, 1);        // connected
  value(0x050B, {1});       // on
  number(0x0622, 16);       // wireless extensions
  value(0x050A, Bytes(6));  // the network joined: address and name
  value(0x0509, Bytes(36));
  networks({});
}

Radio &Radio::value(int oid, const Bytes &bytes, const std::string &ifname) {
  return script(
      oid, [bytes] { return bytes; }, ifname);
}

Radio &Radio::number(int oid, uint32_t number, const std::string &ifname) {
  Bytes bytes;
  putNumber(bytes, 0, number);
  return value(oid, bytes, ifname);
}

Radio &Radio::script(int oid, Script script, const std::string &ifname) {
  values_[{ifname, oid}] = std::move(script);
  return *this;
}

std::map<Radio::Name, Bytes> Radio::values() const {
  std::map<Name, Bytes> values;
  for (const auto &[name, script] : values_) values[name] = script();
  return values;
}

Radio &Radio::needs(int oid, int length) {
  needs_[oid] = length;
  return *this;
}

Radio &Radio::fail(int oid, int error, int times) {
  failures_[oid] = {error, times};
  return *this;
}

Radio &Radio::networks(const std::vector<Network> &networks) {
  return value(kSurveyList, encodeList(networks));
}

Radio &Radio::channel(int channel, const std::string &ifname) {
  channels_[ifname] = channel;
  return *this;
}

Radio &Radio::counters(const std::array<uint32_t, 4> &counters, const std::string &ifname) {
  Bytes &record = counters_[ifname] = Bytes(kCountersLength, kNoCounter);
  for (size_t i = 0; i < counters.size(); i++) putNumber(record, 4 * i, counters[i]);
  return *this;
}

Radio &Radio::profile(const Bytes &record, const std::string &ifname) {
  profiles_[ifname] = record;
  return *this;
}

std::optional<int> Radio::request(unsigned long number, void *argument) {
  if (number != kOid && number != kProfile && number != kFrequency && number != kCounters) {
    return {};
  }
  iwreq &block = *static_cast<iwreq *>(argument);
  const char *name = block.ifr_ifrn.ifrn_name;
  std::string ifname(name, strnlen(name, sizeof block.ifr_ifrn.ifrn_name));
  if (number == kFrequency) {
    seen_.push_back({number, ifname, nullptr, 0, 0});
    auto found = channels_.find(ifname);
    if (found == channels_.end()) return failWith(ENODEV);
    block.u.freq.m = found->second;
    return 0;
  }
  RadioRequest request = {number, ifname, block.u.data.pointer, block.u.data.length,
                          block.u.data.flags};
  seen_.push_back(request);
  if (number == kOid) return oidRequest(request, block);
  if (number == kCounters) {
    bool fits = request.length == kCountersLength && request.flags == 0;
    return fits ? giveFrom(counters_, ifname, block) : failWith(EINVAL);
  }
  const char *words = static_cast<const char *>(request.buffer);
  const std::string command = "get_wsc_profile";
  bool asked = std::string(words, strnlen(words, static_cast<size_t>(request.length))) == command;
  return asked ? giveFrom(profiles_, ifname, block) : failWith(EINVAL);
}

int Radio::oidRequest(const RadioRequest &request, iwreq &block) {
  int oid = request.flags & ~kSetBit;
  if (failsNow(oid)) return failWith(failures_[oid].error);
  if ((request.flags & kSetBit) == 0) return query(request, block);
  device_.record(Event::kRequest, described(request));
  return 0;
}

int Radio::query(const RadioRequest &request, iwreq &block) {
  auto needed = needs_.find(request.flags);
  if (needed != needs_.end() && request.length < needed->second) return failWith(E2BIG);
  auto found = values_.find({request.ifname, request.flags});
  if (found == values_.end()) return failWith(EOPNOTSUPP);
  Bytes value = found->second();
  if (value.size() > block.u.data.length) return failWith(E2BIG);
  return give(value, block);
}

bool Radio::failsNow(int oid) {
  auto found = failures_.find(oid);
  if (found == failures_.end() || found->second.times == 0) return false;
  if (found->second.times > 0) found->second.times--;
  return true;
}

}  // namespace sim
