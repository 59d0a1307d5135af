// Objects of C++ stay out of the sanitizers' sight, which takes half of a fuzzer's
// time: the library makes none. It allocates as C does, and what is handed to it
// (settings, arguments, room for answers) are arrays; all of that is watched.
#include <cstdlib>
#include <new>

// The C library's own, behind those that the sanitizers put in front of them.
extern "C" void *__libc_malloc(size_t size);
extern "C" void __libc_free(void *memory);

void *operator new(size_t size) {
  void *memory = __libc_malloc(size);
  if (memory == nullptr) abort();
  return memory;
}

void *operator new(size_t size, const std::nothrow_t &) noexcept {
  return __libc_malloc(size);
}

void operator delete(void *memory) noexcept {
  __libc_free(memory);
}

void operator delete(void *memory, size_t) noexcept {
  __libc_free(memory);
}

void operator delete(void *memory, const std::nothrow_t &) noexcept {
  __libc_free(memory);
}
