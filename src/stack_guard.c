/*
 * What a stack protector needs, where it is a datum and a function: glibc keeps
 * the datum in its loader, and the small C libraries of devices may have neither.
 * With a pair of the library's own it needs no more of the device than before.
 */
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#define INTERNAL __attribute__((visibility("hidden")))

/* Until it is chosen, or where nothing random is to be had: what ends any text. */
INTERNAL uintptr_t __stack_chk_guard = 0x000a0dff;

/* Runs as the library is loaded, before any function that looks at the guard. */
__attribute__((constructor)) static void chooseGuard(void) {
  int random = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (random < 0) return;
  uintptr_t guard;
  if (read(random, &guard, sizeof guard) == (ssize_t)sizeof guard) __stack_chk_guard = guard;
  close(random);
}

INTERNAL _Noreturn void __stack_chk_fail(void) {
  abort();
}
