#include "sim/library_state.h"

#include <cstddef>
#include <cstdint>

// The linker's names for the section that sim/rename.sh makes.
extern "C" {
extern char __start_orba_library_state[] __attribute__((weak, visibility("hidden")));
extern char __stop_orba_library_state[] __attribute__((weak, visibility("hidden")));
}

namespace sim {

namespace {

using Word __attribute__((may_alias, aligned(1))) = uint64_t;

// Piece by piece and unwatched: between the variables there may be what a sanitizer guards.
__attribute__((no_sanitize("address", "alignment"), noinline)) void copy(volatile char *to,
                                                                         const volatile char *from,
                                                                         size_t length) {
  size_t i = 0;
  for (; i + sizeof(Word) <= length; i += sizeof(Word)) {
    *reinterpret_cast<volatile Word *>(to + i) = *reinterpret_cast<const volatile Word *>(from + i);
  }
  for (; i < length; i++) to[i] = from[i];
}

size_t length() {
  return static_cast<size_t>(__stop_orba_library_state - __start_orba_library_state);
}

}  // namespace

LibraryState::LibraryState() : content_(length()) {
  copy(content_.data(), __start_orba_library_state, content_.size());
}

void LibraryState::restore() const {
  copy(__start_orba_library_state, content_.data(), content_.size());
}

bool LibraryState::known() {
  return length() != 0;
}

}  // namespace sim
