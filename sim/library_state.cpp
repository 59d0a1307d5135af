#include "sim/library_state.h"

#include <cstddef>

// The linker's names for the section that sim/rename.sh makes.
extern "C" {
extern char __start_orba_library_state[] __attribute__((weak, visibility("hidden")));
extern char __stop_orba_library_state[] __attribute__((weak, visibility("hidden")));
}

namespace sim {

namespace {

// Byte by byte and unwatched: between the variables there may be what a sanitizer guards.
__attribute__((no_sanitize("address"), noinline)) void copy(volatile char *to,
                                                            const volatile char *from,
                                                            size_t length) {
  for (size_t i = 0; i < length; i++) to[i] = from[i];
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
