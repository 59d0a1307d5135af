// Bytes that somebody else wrote.
#ifndef ORBA_WIRELESS_BYTE_VIEW_H
#define ORBA_WIRELESS_BYTE_VIEW_H

#include <cstddef>
#include <cstdint>

namespace orba {

// Reads little-endian numbers byte by byte, wherever they lie. What is not all
// inside reads as 0, and a part that reaches beyond the end is cut there, so
// that nothing a stranger sends leads outside.
class ByteView {
 public:
  ByteView(const uint8_t *bytes, size_t size) : bytes_(bytes), size_(size) {}

  const uint8_t *bytes() const { return bytes_; }
  size_t size() const { return size_; }
  bool holds(size_t offset, size_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }

  ByteView from(size_t offset) const {
    if (offset > size_) offset = size_;
    return ByteView(bytes_ + offset, size_ - offset);
  }
  ByteView part(size_t offset, size_t length) const {
    ByteView rest = from(offset);
    if (length < rest.size_) rest.size_ = length;
    return rest;
  }

  uint8_t u8(size_t offset) const { return offset < size_ ? bytes_[offset] : 0; }
  uint16_t u16(size_t offset) const { return static_cast<uint16_t>(number(offset, 2)); }
  uint32_t u32(size_t offset) const { return number(offset, 4); }
  int32_t i32(size_t offset) const { return static_cast<int32_t>(number(offset, 4)); }

 private:
  uint32_t number(size_t offset, size_t width) const {
    uint32_t value = 0;
    if (!holds(offset, width)) return value;
    for (size_t i = width; i-- > 0;) value = value << 8 | bytes_[offset + i];
    return value;
  }

  const uint8_t *bytes_;
  size_t size_;
};

}  // namespace orba

#endif
