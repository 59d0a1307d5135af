// Commands that need more than doSystem.
#ifndef ORBA_CORE_COMMAND_H
#define ORBA_CORE_COMMAND_H

#include <cstddef>

#include "core/text.h"
#include "orba_util.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Room for one command line and for what a runner appends to it. A line that
// does not fit is not run, because a cut rule could let in what it was to keep
// out.
constexpr size_t kCommandSize = 1024;

// Whether `line` may be run: it fits, and no value stands where a program would take
// it for an option. If not, one console trace says which of the two it was.
bool mayRun(const TextBuffer &line);

// Whether the code below a signal handler is in one of the runners. The C library's
// system() holds a lock there, for which a second one would wait for ever.
bool commandRuns();

// Runs fixed commands in order through doSystem. They are one text, each on a line
// of its own with its newline: pointers to them would cost the device 12 bytes apiece.
// Returns what the last one returned.
int runAll(const char *commands);

// Hands a line to the shell with nothing appended: for the commands whose
// output stays where it is.
int runDirectly(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same for fixed commands, as runAll has them.
int runAllDirectly(const char *commands);

// Runs "producer > path" or "producer >> path". The redirection that doSystem
// appends stands behind the line's own, so the shell makes the file and throws the
// text away. The line is run all the same; then, if the file did not get its text,
// the producer is run once more through a pipe, and what it prints is written.
// A blank behind the path is the line's and no part of the name.
void runIntoFile(const char *path, const char *producer, ...) __attribute__((format(printf, 2, 3)));
void appendToFile(const char *path, const char *producer, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace orba
#pragma GCC visibility pop

#endif
