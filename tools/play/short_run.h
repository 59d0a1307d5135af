// A run whose long lists are cut down to one record of each kind, for whoever makes hundreds
// of runs like it: what a setting does to the commands of that record it does to those of the
// others.
#ifndef ORBA_TOOLS_PLAY_SHORT_RUN_H
#define ORBA_TOOLS_PLAY_SHORT_RUN_H

#include <optional>
#include <vector>

#include "tools/play/origin.h"
#include "tools/play/recording.h"

namespace orba::tool {

class ShortRun {
 public:
  // Of a list, records that commands carry nothing of all stay, and so does the list as it is when
  // the run without the others does not have all other commands as they were.
  ShortRun(const Recording &whole, const Prepare &prepare);

  // The call, its settings, when they were asked for, and its commands.
  const Recording &run() const { return run_; }
  // Of a line of the whole run the one of run() that it is, or that stands for it.
  size_t lineFor(size_t line) const { return places_[line]; }
  // For how many lines of the whole run a line of run() stands, itself among them.
  const std::vector<size_t> &weights() const { return weights_; }
  // An origin of lineFor(line), as one of the line.
  Origin originOf(size_t line, Origin origin) const;

 private:
  struct List {
    size_t setting;            // its place in Recording::config
    std::vector<int> records;  // those that have stayed, from 1
  };
  struct Instead {    // of a line that is gone
    size_t line;      // of the whole run, which stands for it
    size_t list;      // in lists_
    int record, its;  // the one that it came from, and that of the other line
  };
  using Lines = std::vector<std::optional<Instead>>;  // of the whole run; nothing: it has stayed

  void shorten(size_t setting, const std::vector<size_t> &marks, const Recording &whole,
               const Prepare &prepare);
  void count(const Recording &whole);

  Recording run_;
  std::vector<List> lists_;
  Lines lines_;
  std::vector<size_t> places_, weights_;
};

}  // namespace orba::tool

#endif
