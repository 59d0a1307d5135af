// The folder that stands for the device's file system.
#ifndef ORBA_SIM_ROOT_H
#define ORBA_SIM_ROOT_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "sim/lower_folder.h"

namespace sim {

// What is written is kept in memory until somebody is told where it really is: then it lands in a
// temporary folder, which is made for the first of it and goes away with the Root. What is not
// there is read from the lower folder, when there is one.
class Root {
 public:
  Root();
  Root(const Root &) = delete;
  Root &operator=(const Root &) = delete;
  ~Root();

  void lower(const std::string &folder) { lower_.open(folder); }
  // What every file holds that is asked for and missing.
  void everyFile(const std::string &content) { every_file_ = content; }
  void refuse(const std::string &path) { refused_.insert(path); }

  // Where a path of the device really is; empty, with errno set, when it is refused.
  std::string forReading(const std::string &path);
  // What is to be read at a path, where it is kept in memory; it stays there.
  const std::string *textForReading(const std::string &path);
  // Empties the file at a path, which stays in memory; false where it is not there.
  bool emptyInMemory(const std::string &path);
  // False where nothing can be at a path.
  bool mayHold(const std::string &path) const;
  // Where something is, for who only asks that.
  std::string whereverItIs(const std::string &path);
  // The same with the folders above it made and the lower content brought up.
  std::string forWriting(const std::string &path);

  void write(const std::string &path, const std::string &content, bool append = false);
  bool remove(const std::string &path);
  std::optional<std::string> content(const std::string &path) const;
  // Every path that was looked up for reading, there or not.
  const std::set<std::string> &looked() const { return looked_; }

  // What it holds now is what it starts over from.
  void keep();
  // False when it cannot, since something of that is in the temporary folder or two processes have
  // it.
  bool startOver();
  // From now on, two processes have this device.
  void share();

 private:
  bool staysInMemory(const std::string &path, bool append) const;
  void layOut(const std::string &path);
  void clearUpper();
  void writeOut(const std::string &path, const std::string &content, bool append);
  std::string placeFor(const std::string &path);
  void makeFolder(const std::string &folder);
  std::string upperOf(const std::string &path) const;
  std::string lowerOf(const std::string &path) const;
  bool inLower(const std::string &path) const;

  std::string upper_;  // the temporary folder, once it is made
  LowerFolder lower_;
  std::map<std::string, std::string> in_memory_;  // files, by their paths on the device
  bool shared_ = false;
  std::set<std::string> told_;     // paths on the device that somebody knows the place of
  std::set<std::string> folders_;  // that were asked for in the upper folder
  std::set<std::string> made_;     // what may be in the upper folder, where it really is
  std::optional<std::string> every_file_;
  std::set<std::string> removed_;
  struct Kept {
    std::map<std::string, std::string> in_memory;
    std::set<std::string> removed;
  };
  std::optional<Kept> kept_;  // nothing where it cannot start over
  std::set<std::string> refused_;
  std::set<std::string> looked_;
};

}  // namespace sim

#endif
