// What a lab's process could still have of its maker's terminal and files.
#ifndef ORBA_TOOLS_CONFINE_H
#define ORBA_TOOLS_CONFINE_H

namespace orba::tool {

// For this process and whatever it becomes or starts: nobody types into the terminal
// in its user's place, and no file that stands open but the standard three is handed
// to another program. Throws NoLab when the kernel cannot see to it.
void confine();

}  // namespace orba::tool

#endif
