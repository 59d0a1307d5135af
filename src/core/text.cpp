#include "core/text.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace orba {

void copyText(char *to, size_t size, const char *from) {
  if (size == 0) return;
  size_t length = strnlen(from, size - 1);
  memcpy(to, from, length);
  to[length] = '\0';
}

int toNumber(const char *text) {
  long number = strtol(text, nullptr, 10);
  if (number > INT_MAX) return INT_MAX;
  if (number < INT_MIN) return INT_MIN;
  return static_cast<int>(number);
}

TextBuffer &TextBuffer::clear() {
  cutTo(0);
  cut_ = false;
  return *this;
}

TextBuffer &TextBuffer::append(const char *text) {
  return append(text, strlen(text));
}

TextBuffer &TextBuffer::append(const char *text, size_t length) {
  size_t room = size_ - 1 - length_;
  if (length > room) {
    length = room;
    cut_ = true;
  }
  memcpy(space_ + length_, text, length);
  cutTo(length_ + length);
  return *this;
}

TextBuffer &TextBuffer::format(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  formatList(format, arguments);
  va_end(arguments);
  return *this;
}

int TextBuffer::formatList(const char *format, va_list arguments) {
  size_t room = size_ - length_;
  int wanted = vsnprintf(space_ + length_, room, format, arguments);
  if (wanted < 0) {
    cut_ = true;
    cutTo(length_);
  } else if (static_cast<size_t>(wanted) >= room) {
    cut_ = true;
    length_ = size_ - 1;
  } else {
    length_ += static_cast<size_t>(wanted);
  }
  return wanted;
}

void TextBuffer::cutTo(size_t length) {
  length_ = length;
  space_[length] = '\0';
}

}  // namespace orba
