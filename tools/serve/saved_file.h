// The file that the page's settings are written to.
#ifndef ORBA_TOOLS_SERVE_SAVED_FILE_H
#define ORBA_TOOLS_SERVE_SAVED_FILE_H

#include <string>

namespace orba::tool {

// A configuration file, and the one that what comes of it is written to, which may be the
// same. Nothing is written over that nobody here has read.
class SavedFile {
 public:
  // `target` is empty when nothing is to be written. Throws BadConfig for a configuration that
  // cannot be read, CannotServe for a target that is there and is not the configuration.
  SavedFile(const std::string &config, const std::string &target);

  // Empty when nothing may be written.
  const std::string &target() const { return target_; }
  // What settings are compared with: the target once it was written, the configuration before.
  const std::string &name() const { return written_ ? target_ : config_; }
  // What the file holds now, or held last when there is nothing to be read now.
  const std::string &text();
  // Whether that is what was read, or written, here.
  bool sameAsRead() { return text() == read_; }
  // Throws BadChange when the file is no longer what was read, CannotWrite.
  void write(const std::string &text);

 private:
  std::string config_, target_;
  bool written_ = false;
  std::string read_;  // or written
  std::string now_;
};

}  // namespace orba::tool

#endif
