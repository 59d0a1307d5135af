// A machine for the library as it ships: real timer, real shell, real files. Only
// what no desk has is stood in for: the drivers behind ioctl(), the programs of the
// firmware and the settings store. None of the stand-ins uses the heap.
#ifndef ORBA_TESTS_KERNEL_MACHINE_H
#define ORBA_TESTS_KERNEL_MACHINE_H

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace machine {

// Runs `scenario` in a process of its own, with /tmp, /var and /dev of its own and
// the firmware's programs on its PATH, and takes over what it expected. One that is
// not through after `seconds` is hung. Skips the test where the kernel lets us make
// no such place.
void run(const std::function<void()> &scenario, int seconds = 20);

// In such a process, another one of a user without privileges.
void asStranger(const std::function<void()> &deeds);
// The same, which stays until the machine is gone, and does something all the time.
void besideStranger(const std::function<void()> &deeds, const std::function<void()> &goes_on);

void write(const std::string &path, const std::string &text);
std::string read(const std::string &path);

// ---- the drivers ----
extern int status;              // what the WPS driver answers
extern int shell_milliseconds;  // what each shell takes longer than here
// What the LEDs were told since, as "14:2/1 " for on and off ticks.
extern char leds[4096];

// ---- the store ----
void set(int space, const char *key, const char *value);

// ---- the timer ----
bool alarmIsPending();
long millisecondsNow();
// Lets the timer run meanwhile.
void wait(long milliseconds);

}  // namespace machine

#endif
