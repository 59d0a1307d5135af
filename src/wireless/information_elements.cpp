#include "wireless/information_elements.h"

#include <cstring>

namespace orba {

namespace {

// Timestamp, beacon interval and capability.
constexpr size_t kFixedBytes = 12;
// An element's number and length byte; the body follows.
constexpr size_t kElementHead = 2;
constexpr size_t kSuiteSize = 4;

constexpr uint8_t kRsnElement = 48;
constexpr uint8_t kVendorElement = 221;

// The makers' numbers that suites begin with; the last byte is the type.
using Oui = uint8_t[3];
constexpr Oui kRsnOui = {0x00, 0x0F, 0xAC};
constexpr Oui kWpaOui = {0x00, 0x50, 0xF2};
constexpr Oui kCckmOui = {0x00, 0x40, 0x96};
constexpr uint8_t kWpaVendorType = 1;

bool isFrom(ByteView suite, const Oui &oui) {
  return suite.size() == kSuiteSize && memcmp(suite.bytes(), oui, sizeof oui) == 0;
}

uint8_t typeOf(ByteView suite) {
  return suite.u8(3);
}

void addCipher(ByteView suite, Security &security) {
  switch (typeOf(suite)) {
    case 2:
      security.tkip = true;
      break;
    case 3:
    case 4:
      security.aes = true;
      break;
  }
}

void addKeys(ByteView suite, bool infrastructure, Security::Keys &keys) {
  switch (typeOf(suite)) {
    case 1:
      keys.enterprise = true;
      break;
    case 0:
    case 2:
      (infrastructure ? keys.psk : keys.none) = true;
      break;
  }
}

// A two-byte count and that many suites, as far as they lie inside the element.
class SuiteList {
 public:
  SuiteList(ByteView element, size_t offset)
      : count_(element.u16(offset)), suites_(element.from(offset + 2)) {}

  size_t count() const { return count_; }
  size_t whole() const {
    size_t inside = suites_.size() / kSuiteSize;
    return count_ < inside ? count_ : inside;
  }
  ByteView suite(size_t index) const { return suites_.part(index * kSuiteSize, kSuiteSize); }
  size_t size() const { return 2 + count_ * kSuiteSize; }

 private:
  size_t count_;
  ByteView suites_;
};

// Group cipher, pairwise ciphers and key management stand one behind the other
// in both kinds of element.
void readSuites(ByteView element, size_t group_offset, const Oui &oui, bool infrastructure,
                Security &security, Security::Keys &keys) {
  ByteView group = element.part(group_offset, kSuiteSize);
  if (!isFrom(group, oui)) return;
  addCipher(group, security);

  size_t pairwise_offset = group_offset + kSuiteSize;
  SuiteList pairwise(element, pairwise_offset);
  for (size_t i = 0; i < pairwise.whole() && isFrom(pairwise.suite(i), oui); i++) {
    addCipher(pairwise.suite(i), security);
  }

  SuiteList management(element, pairwise_offset + pairwise.size());
  for (size_t i = 0; i < management.whole(); i++) {
    ByteView suite = management.suite(i);
    if (isFrom(suite, kCckmOui)) security.cckm = true;
    if (isFrom(suite, oui)) addKeys(suite, infrastructure, keys);
  }
}

void readElement(ByteView element, bool infrastructure, Security &security) {
  uint8_t id = element.u8(0);
  size_t body = element.size() - kElementHead;
  if (id == kRsnElement && body >= 12) {
    readSuites(element, 4, kRsnOui, infrastructure, security, security.wpa2);
  } else if (id == kVendorElement && body >= 16) {
    ByteView kind = element.part(kElementHead, kSuiteSize);
    if (!isFrom(kind, kWpaOui) || typeOf(kind) != kWpaVendorType) return;
    readSuites(element, 8, kWpaOui, infrastructure, security, security.wpa);
  }
}

}  // namespace

void readSecurity(ByteView elements, bool infrastructure, Security &security) {
  size_t offset = kFixedBytes;
  // An element without a body ends the walk, unless it is the first: that is
  // the empty name of a hidden network.
  while (offset + 3 < elements.size()) {
    size_t length = kElementHead + elements.u8(offset + 1);
    if (offset > kFixedBytes && length == kElementHead) return;
    if (!elements.holds(offset, length)) return;
    readElement(elements.part(offset, length), infrastructure, security);
    offset += length;
  }
}

}  // namespace orba
