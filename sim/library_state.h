// What the library keeps in its own variables between two calls.
#ifndef ORBA_SIM_LIBRARY_STATE_H
#define ORBA_SIM_LIBRARY_STATE_H

#include <vector>

namespace sim {

// All of them as they were when this was made. For processes that call the library as many
// processes would, one after the other.
class LibraryState {
 public:
  LibraryState();
  void restore() const;
  // Whether it is known where they are: not, when the library was built with its variables
  // in sections that sim/rename.sh does not know.
  static bool known();

 private:
  std::vector<char> content_;
};

}  // namespace sim

#endif
