// Waiting.
#ifndef ORBA_CORE_PAUSE_H
#define ORBA_CORE_PAUSE_H

#pragma GCC visibility push(hidden)
namespace orba {

// sleep() to the end: a signal, such as that of the interval timer, is handled
// and what was left is slept too.
void pauseFor(unsigned int seconds);

}  // namespace orba
#pragma GCC visibility pop

#endif
