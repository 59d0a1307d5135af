// A session, and where that is asked for a terminal, that a lab has to itself.
#ifndef ORBA_TOOLS_LAB_OWN_TERMINAL_H
#define ORBA_TOOLS_LAB_OWN_TERMINAL_H

namespace orba::tool {

// Returns in a child that leads a session of its own, so that neither its process
// group nor its controlling terminal is this process's. Those of the standard three
// that are a terminal are one of the child's own there; what is typed and shown is
// carried between the two until the child ends, with whose exit code this process
// ends too. The others of the three stay as they are. Throws NoLab when there is no
// terminal or process to be had.
void moveToOwnTerminal();

}  // namespace orba::tool

#endif
