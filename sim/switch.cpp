#include "sim/switch.h"

#include <net/if.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sim/device.h"

namespace sim {

namespace {

constexpr unsigned long kRead = 0x89F3;
constexpr unsigned long kWrite = 0x89F4;

constexpr uint32_t kSearch = 0x80;
constexpr uint32_t kStart = 0x8004;
constexpr uint32_t kNext = 0x8005;
constexpr uint32_t kValid = 0x2000;
constexpr uint32_t kEnd = 0x4000;

int fail(int error) {
  errno = error;
  return -1;
}

std::string hex(const char *format, uint32_t a, uint32_t b) {
  char text[64];
  snprintf(text, sizeof text, format, a, b);
  return text;
}

}  // namespace

uint32_t Switch::get(uint32_t reg) const {
  auto found = registers_.find(reg);
  return found != registers_.end() ? found->second : 0;
}

Switch &Switch::learn(const std::string &mac, std::initializer_list<int> ports) {
  return add(mac, ports, false);
}

Switch &Switch::learnLast(const std::string &mac, std::initializer_list<int> ports) {
  return add(mac, ports, true);
}

Switch &Switch::slow(int looks) {
  looks_of_next_ = looks;
  return *this;
}

Switch &Switch::add(const std::string &mac, std::initializer_list<int> ports, bool last) {
  uint32_t map = 0;
  for (int port : ports) map |= 1u << port;
  table_.push_back({strtoull(mac.c_str(), nullptr, 16), map, last, looks_of_next_});
  looks_of_next_ = 0;
  return *this;
}

void Switch::showEntry() {
  if (endless_ && at_ >= table_.size()) at_ = 0;
  looks_left_ = at_ < table_.size() ? table_[at_].looks : looks_of_next_;
}

void Switch::write(uint32_t reg, uint32_t value) {
  set(reg, value);
  if (reg != kSearch) return;
  if (value == kStart) at_ = 0;
  if (value == kNext) at_++;
  showEntry();
}

uint32_t Switch::read(uint32_t reg) {
  bool there = at_ < table_.size();
  if (reg == kSearch) {
    if (looks_left_ > 0) return looks_left_--, 0;
    return !there ? kEnd : table_[at_].last ? kValid | kEnd : kValid;
  }
  if (!there) return get(reg);
  const Entry &entry = table_[at_];
  if (reg == 0x84) return static_cast<uint32_t>(entry.mac >> 16);
  // What surrounds the fields is not zero on the real switch either.
  if (reg == 0x88) return static_cast<uint32_t>(entry.mac << 16) | 0x0A5A;
  if (reg == 0x8C) return entry.ports << 4 | 0xFFFFFF03;
  return get(reg);
}

std::optional<int> Switch::request(unsigned long number, void *argument) {
  if (number != kRead && number != kWrite) return {};
  auto &wanted = *static_cast<ifreq *>(argument);
  if (strncmp(wanted.ifr_name, "eth2", sizeof wanted.ifr_name) != 0) return fail(ENODEV);
  if (broken_) return fail(EIO);
  uint32_t record[4];  // PHY, register, value to write, value read
  memcpy(record, wanted.ifr_data, sizeof record);
  if (record[0] != 31) return fail(EINVAL);
  if (number == kWrite) {
    device_.record(Event::kRequest, hex("switch register %x = %x", record[1], record[2]));
    write(record[1], record[2]);
    return 0;
  }
  reads_++;
  record[3] = read(record[1]);
  memcpy(wanted.ifr_data, record, sizeof record);
  return 0;
}

std::optional<std::string> Switch::outputOf(const std::string &command) {
  if (command.rfind("switch", 0) != 0) return {};
  unsigned reg, value;
  if (sscanf(command.c_str(), "switch reg r %x", &reg) == 1) {
    return hex("switch reg read offset=%x, value=%08x\n", reg, get(reg));
  }
  if (sscanf(command.c_str(), "switch reg w %x %x", &reg, &value) == 2) {
    set(reg, value);
    return hex("switch reg write offset=%x, value=%x\n", reg, value);
  }
  return {};
}

}  // namespace sim
