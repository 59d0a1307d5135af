// What a lab's process could still have of its maker's terminal, files and keys.
#ifndef ORBA_TOOLS_LAB_CONFINE_H
#define ORBA_TOOLS_LAB_CONFINE_H

namespace orba::tool {

// Goes on in a child with a session of its own (own_terminal.h). For it and whatever it
// becomes or starts: nobody types into a terminal in its user's place, the kernel's
// keyrings are not there, and no file that stands open but the standard three is
// handed to another program. Throws NoLab when the kernel cannot see to it.
void confine();

}  // namespace orba::tool

#endif
