// The folder that stands for the device's file system.
#ifndef ORBA_SIM_ROOT_H
#define ORBA_SIM_ROOT_H

#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace sim {

// What is written lands in a temporary folder that goes away with the Root;
// what is not there is read from the lower folder, when there is one.
class Root {
 public:
  Root();
  Root(const Root &) = delete;
  Root &operator=(const Root &) = delete;
  ~Root();

  void lower(const std::string &folder) { lower_ = folder; }
  void refuse(const std::string &path) { refused_.insert(path); }

  // Where a path of the device really is; empty, with errno set, when it is refused.
  std::string forReading(const std::string &path) const;
  // The same with the folders above it made and the lower content brought up.
  std::string forWriting(const std::string &path);

  void write(const std::string &path, const std::string &content, bool append = false);
  bool remove(const std::string &path);
  std::optional<std::string> content(const std::string &path) const;

 private:
  std::filesystem::path upperOf(const std::string &path) const;
  bool inLower(const std::string &path) const;

  std::filesystem::path upper_;
  std::filesystem::path lower_;
  std::set<std::string> removed_;
  std::set<std::string> refused_;
};

}  // namespace sim

#endif
