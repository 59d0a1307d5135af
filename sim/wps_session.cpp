#include "sim/wps_session.h"

#include <sstream>

#include "sim/radio.h"

namespace sim {

namespace {

enum { kAccessListOid = 0x052A, kProfileOid = 0x0750, kStatusOid = 0x0751, kPinOid = 0x0752 };

// A record of the driver, written byte by byte at its offsets.
class Writer {
 public:
  explicit Writer(size_t size) : bytes_(size) {}

  Writer &number(size_t offset, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; i++) bytes_.at(offset + i) = value >> (8 * i) & 0xFF;
    return *this;
  }
  Writer &text(size_t offset, const std::string &value, size_t width) {
    for (size_t i = 0; i < width && i < value.size(); i++) {
      bytes_.at(offset + i) = static_cast<uint8_t>(value[i]);
    }
    return *this;
  }
  const Bytes &bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

}  // namespace

WpsSession::WpsSession(Device &device) : Part(device), radio_(device.part<Radio>()) {}

WpsSession &WpsSession::status(const std::string &ifname, std::vector<Step> script) {
  auto next = [script = std::move(script)]() mutable {
    int status = script.front().status;
    if (script.size() > 1 && --script.front().ticks == 0) script.erase(script.begin());
    return Writer(4).number(0, static_cast<uint32_t>(status), 4).bytes();
  };
  radio_.script(kStatusOid, next, ifname);
  return *this;
}

WpsSession &WpsSession::current(const Current &current) {
  radio_.profile(Writer(105)
                     .number(0, current.state, 2)
                     .text(2, current.ssid, 32)
                     .number(35, current.authentication, 2)
                     .number(37, current.encryption, 2)
                     .number(39, current.key_index, 1)
                     .text(40, current.key, 64)
                     .bytes());
  return *this;
}

// With a second credential behind it that nobody is to look at.
WpsSession &WpsSession::credential(const Credential &credential) {
  uint32_t ssid_length = static_cast<uint32_t>(credential.ssid.size());
  uint16_t key_length = static_cast<uint16_t>(credential.key.size());
  radio_.value(kProfileOid, Writer(936)
                                .number(0, 2, 4)
                                .number(8, credential.ssid_length.value_or(ssid_length), 4)
                                .text(12, credential.ssid, 32)
                                .number(44, credential.authentication, 2)
                                .number(46, credential.encryption, 2)
                                .text(48, credential.key, 64)
                                .number(112, credential.key_length.value_or(key_length), 2)
                                .number(120, credential.key_index, 1)
                                .number(124, 5, 4)
                                .text(128, "other", 32)
                                .bytes());
  return *this;
}

WpsSession &WpsSession::stations(const std::vector<std::string> &macs,
                                 std::optional<uint32_t> count) {
  Writer record(520);
  record.number(4, count.value_or(static_cast<uint32_t>(macs.size())), 4);
  for (size_t i = 0; i < macs.size(); i++) record.text(8 + 8 * i, macs[i], 6);
  radio_.value(kAccessListOid, record.bytes());
  return *this;
}

WpsSession &WpsSession::pin(uint32_t pin) {
  radio_.number(kPinOid, pin);
  return *this;
}

std::optional<std::string> WpsSession::outputOf(const std::string &command) {
  static const std::string statistics = "iwpriv apcli0 stat | grep ";
  if (command.rfind(statistics, 0) != 0) return {};
  std::string wanted = command.substr(statistics.size());
  wanted.resize(wanted.find_last_not_of(' ') + 1);
  if (wanted.front() == '"') wanted = wanted.substr(1, wanted.size() - 2);
  std::string found;
  std::istringstream lines(statistics_);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(wanted) != std::string::npos) found += line + "\n";
  }
  return found;
}

}  // namespace sim
