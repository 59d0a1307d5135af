// Bounded text on the stack.
#ifndef ORBA_CORE_TEXT_H
#define ORBA_CORE_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <cstring>

// Said where they are declared too, so that callers know these calls stay within
// the library: each is six bytes shorter on MIPS than one to another library.
// So do all headers that declare functions.
#pragma GCC visibility push(hidden)
namespace orba {

// Copies `from` into the `size` bytes at `to`, cut to fit and always terminated.
void copyText(char *to, size_t size, const char *from);

inline bool same(const char *a, const char *b) {
  return strcmp(a, b) == 0;
}

// The number a text begins with, 0 when there is none. What does not fit an
// int becomes the nearest one, on 32-bit and 64-bit machines alike.
int toNumber(const char *text);

// What all Text<N> share, so that their code exists once. Whatever is added,
// nothing is written past the end and the text stays terminated; once something
// had to be cut, fits() stays false until the next clear().
class TextBuffer {
 public:
  TextBuffer(const TextBuffer &) = delete;
  TextBuffer &operator=(const TextBuffer &) = delete;

  TextBuffer &clear();
  TextBuffer &append(const char *text);
  TextBuffer &append(const char *text, size_t length);
  TextBuffer &format(const char *format, ...) __attribute__((format(printf, 2, 3)));
  // Returns the length that the whole formatted text has, -1 when it has none.
  int formatList(const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
  TextBuffer &assign(const char *text) { return clear().append(text); }
  // Takes back what stands behind the first `length` characters.
  void cutTo(size_t length);

  const char *text() const { return space_; }
  size_t length() const { return length_; }
  size_t size() const { return size_; }
  bool empty() const { return length_ == 0; }
  bool fits() const { return !cut_; }
  bool is(const char *other) const { return same(space_, other); }

  // For calls that fill a buffer themselves: `fill` gets the space and its size.
  // char *space() is not offered without the length being taken afresh.
  template <typename Fill>
  auto fill(Fill fill_space) {
    auto result = fill_space(space_, size_);
    space_[size_ - 1] = '\0';
    length_ = strlen(space_);
    return result;
  }

 protected:
  TextBuffer(char *space, size_t size) : space_(space), size_(size) { space_[0] = '\0'; }
  ~TextBuffer() = default;

 private:
  char *space_;
  size_t size_;
  size_t length_ = 0;
  bool cut_ = false;
};

// A text of at most N - 1 characters.
template <size_t N>
class Text : public TextBuffer {
 public:
  Text() : TextBuffer(storage_, N) {}
  explicit Text(const char *text) : Text() { append(text); }

 private:
  char storage_[N];
};

}  // namespace orba
#pragma GCC visibility pop

#endif
