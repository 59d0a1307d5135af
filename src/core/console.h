// Printing where the heap must not be used.
#ifndef ORBA_CORE_CONSOLE_H
#define ORBA_CORE_CONSOLE_H

#pragma GCC visibility push(hidden)
namespace orba {

// Writes to a descriptor what the monitors' signal handlers have to say. The
// streams of the C library take their buffers from the heap, which the code
// under a handler may be about to change. Up to 255 characters.
void print(int fd, const char *format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace orba
#pragma GCC visibility pop

#endif
