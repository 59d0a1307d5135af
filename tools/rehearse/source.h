// Where the configurations come from: files, folders, archives, and lists of those. Nothing of
// it is kept, and nothing is unpacked.
#ifndef ORBA_TOOLS_REHEARSE_SOURCE_H
#define ORBA_TOOLS_REHEARSE_SOURCE_H

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orba::tool {

// A configuration as it was found: "fleet/home-1.conf", or "fleet.tar.zst!home-1.conf".
struct Found {
  std::string id;
  std::string text;
  std::string refused = {};  // why it is none
};

// The largest configuration, in bytes.
constexpr size_t kMostOfConfiguration = size_t{1} << 20;

class Archive;

class Source {
 public:
  // Files, folders with all below them, settings stores, archives (.tar, .tar.gz, .tgz, .tar.zst);
  // "-" is standard input, which has such a path in each line. Below a folder `left_out` is none of
  // it.
  explicit Source(std::vector<std::string> paths, std::string left_out = "");
  ~Source();

  // In the order of the paths, in folders that of the file system; nothing at the end. What cannot
  // be read, is too large or a link in a folder is refused by itself. Throws BadConfig for a path
  // that is not there, and for a whole archive: when it is damaged, holds a link, a device or a
  // path with "..", a member that is larger than a configuration, more than ten million members,
  // or above 1 GiB more than 2,000 times what it takes.
  std::optional<Found> next();

  // How much has been given, from 0 to 1; negative when that is not known.
  double share() const;

 private:
  std::optional<Found> begin(const std::string &path);
  std::optional<Found> nextOfFolder();
  std::optional<std::string> nextPath();

  std::vector<std::string> paths_;
  const std::string left_out_;
  size_t next_ = 0;
  bool in_list_ = false;
  std::unique_ptr<Archive> archive_;
  std::filesystem::recursive_directory_iterator folder_;
  size_t in_folder_ = 0, of_folder_ = 0;  // entries seen, and all
};

}  // namespace orba::tool

#endif
