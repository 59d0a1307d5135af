#include "tools/rehearse/source.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "tools/device/config.h"
#include "tools/device/settings_forms.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace fs = std::filesystem;

namespace {

constexpr size_t kMostMembers = 10'000'000, kMostTimes = 2'000;
constexpr int64_t kAlwaysAllowed = int64_t{1} << 30;

bool isArchive(const std::string &path) {
  return path.ends_with(".tar") || path.ends_with(".tar.zst") || path.ends_with(".tar.gz") ||
         path.ends_with(".tgz");
}

Found fileOf(const std::string &path) {
  Found found{path, {}};
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status;
  if (file < 0 || fstat(file, &status) != 0) {
    found.refused = strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    found.refused = "is no file";
  } else if (static_cast<size_t>(status.st_size) > kMostOfConfiguration) {
    found.refused = "is larger than 1 MiB";
  } else {
    found.text.resize(static_cast<size_t>(status.st_size));
    size_t length = 0;
    for (ssize_t now = 1; now > 0 && length < found.text.size();) {
      now = read(file, found.text.data() + length, found.text.size() - length);
      if (now > 0) length += static_cast<size_t>(now);
      if (now < 0) found.refused = strerror(errno);
    }
    found.text.resize(length);
  }
  if (file >= 0) close(file);
  return found;
}

// "a/../b"
bool leadsUp(const std::string &path) {
  const std::vector<std::string> parts = splitAt(path, '/');
  return path.starts_with('/') || std::find(parts.begin(), parts.end(), "..") != parts.end();
}

}  // namespace

// Its members, one after the other.
class Archive {
 public:
  explicit Archive(const std::string &path)
      : path_(path), archive_(archive_read_new()), file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) throw BadConfig(path + ": " + strerror(errno));
    archive_read_support_format_tar(archive_);
    archive_read_set_format_option(archive_, "tar", "read_concatenated_archives", "1");
    archive_read_support_filter_zstd(archive_);
    archive_read_support_filter_gzip(archive_);
    struct stat status;
    if (stat(path.c_str(), &status) == 0) size_ = status.st_size;
    const int result = archive_read_open(archive_, this, nullptr, readMore, nullptr);
    if (result != ARCHIVE_OK) damaged();
  }
  Archive(const Archive &) = delete;
  Archive &operator=(const Archive &) = delete;
  ~Archive() {
    archive_read_free(archive_);
    if (file_ >= 0) close(file_);
  }

  std::optional<Found> next() {
    for (;;) {
      archive_entry *entry;
      const int result = archive_read_next_header(archive_, &entry);
      if (result == ARCHIVE_EOF) return std::nullopt;
      if (result < ARCHIVE_WARN) damaged();
      const char *name = archive_entry_pathname(entry);
      const std::string member = name != nullptr ? name : "";
      if (++members_ > kMostMembers) refuse("has more than ten million members");
      if (leadsUp(member)) refuse(visible(member) + " leads out of it");
      if (archive_entry_hardlink(entry) != nullptr) refuse(visible(member) + " is a link");
      if (archive_entry_size(entry) > static_cast<int64_t>(kMostOfConfiguration)) {
        refuse(visible(member) + " is larger than 1 MiB");
      }
      if (archive_entry_filetype(entry) == AE_IFDIR) continue;
      if (archive_entry_filetype(entry) == AE_IFLNK) refuse(visible(member) + " is a link");
      if (archive_entry_filetype(entry) != AE_IFREG) refuse(visible(member) + " is no file");
      return Found{path_ + "!" + member, contentOf(member)};
    }
  }

  double share() const {
    return size_ > 0 ? static_cast<double>(archive_filter_bytes(archive_, -1)) /
                           static_cast<double>(size_)
                     : -1;
  }

 private:
  // Asked for more of what the archive takes: so whatever it holds too much of is noticed, be it
  // zeros behind its end.
  static la_ssize_t readMore(archive *archive, void *asked, const void **bytes) {
    auto &self = *static_cast<Archive *>(asked);
    const int64_t given = archive_filter_bytes(archive, 0);
    if (given > kAlwaysAllowed &&
        given / static_cast<int64_t>(kMostTimes) > archive_filter_bytes(archive, -1)) {
      archive_set_error(archive, EFBIG, "holds more than 1 GiB and 2,000 times what it takes");
      return -1;
    }
    *bytes = self.part_;
    const ssize_t now = read(self.file_, self.part_, sizeof self.part_);
    if (now < 0) archive_set_error(archive, errno, "%s", strerror(errno));
    return now;
  }

  std::string contentOf(const std::string &member) {
    std::string text;
    char part[65536];
    for (;;) {
      const la_ssize_t now = archive_read_data(archive_, part, sizeof part);
      if (now < 0) damaged();
      if (now == 0) break;
      text.append(part, static_cast<size_t>(now));
      if (text.size() > kMostOfConfiguration) refuse(visible(member) + " is larger than 1 MiB");
    }
    return text;
  }

  [[noreturn]] void refuse(const std::string &why) const {
    throw BadConfig(path_ + ": refused: " + why);
  }
  [[noreturn]] void damaged() const {
    const char *why = archive_error_string(archive_);
    throw BadConfig(path_ + ": cannot be read: " + visible(why != nullptr ? why : "damaged"));
  }

  std::string path_;
  archive *archive_;
  int file_;
  char part_[65536];
  int64_t size_ = 0;
  size_t members_ = 0;
};

Source::Source(std::vector<std::string> paths, std::string left_out)
    : paths_(std::move(paths)), left_out_(std::move(left_out)) {}
Source::~Source() = default;

std::optional<Found> Source::begin(const std::string &path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) throw BadConfig(path + ": " + strerror(ENOENT));
  if (fs::is_directory(status) && isStoreFolder(path)) {
    return Found{path, printConfig(storeSettings(path).settings)};
  }
  if (fs::is_directory(status)) {
    in_folder_ = of_folder_ = 0;
    constexpr auto kSkipped = fs::directory_options::skip_permission_denied;
    fs::recursive_directory_iterator each(path, kSkipped, error);
    for (const fs::recursive_directory_iterator end; each != end; each.increment(error)) {
      of_folder_++;
    }
    folder_ = fs::recursive_directory_iterator(path, error);
    if (error) throw BadConfig(path + ": " + error.message());
    return std::nullopt;
  }
  if (isArchive(path)) {
    archive_ = std::make_unique<Archive>(path);
    return std::nullopt;
  }
  return fileOf(path);
}

std::optional<Found> Source::nextOfFolder() {
  const fs::recursive_directory_iterator end;
  while (folder_ != end) {
    const fs::directory_entry entry = *folder_;
    const std::string path = entry.path().string();
    in_folder_++;
    std::error_code error;
    const fs::file_status status = entry.symlink_status(error);
    const bool is_folder = fs::is_directory(status);
    const bool left_out = is_folder && fs::equivalent(path, left_out_, error);
    const bool store = is_folder && !left_out && isStoreFolder(path);
    const int unreadable = is_folder && access(path.c_str(), R_OK | X_OK) != 0 ? errno : 0;
    if (store || left_out || unreadable != 0) folder_.disable_recursion_pending();
    folder_.increment(error);
    if (error) throw BadConfig(path + ": " + error.message());
    if (left_out) continue;
    if (unreadable != 0) return Found{path, {}, strerror(unreadable)};
    if (store) return Found{path, printConfig(storeSettings(path).settings)};
    if (fs::is_symlink(status)) return Found{path, {}, "is a link"};
    if (!fs::is_regular_file(status)) continue;
    if (!isArchive(path)) return fileOf(path);
    archive_ = std::make_unique<Archive>(path);
    if (std::optional<Found> found = archive_->next()) return found;
  }
  return std::nullopt;
}

std::optional<std::string> Source::nextPath() {
  for (;;) {
    if (in_list_) {
      std::string line;
      if (std::getline(std::cin, line)) return line;
      in_list_ = false;
    }
    if (next_ >= paths_.size()) return std::nullopt;
    const std::string &path = paths_[next_++];
    if (path != "-") return path;
    in_list_ = true;
  }
}

std::optional<Found> Source::next() {
  for (;;) {
    if (archive_) {
      if (std::optional<Found> found = archive_->next()) return found;
      archive_.reset();
    }
    if (std::optional<Found> found = nextOfFolder()) return found;
    const std::optional<std::string> path = nextPath();
    if (!path) return std::nullopt;
    if (std::optional<Found> found = begin(*path)) return found;
  }
}

double Source::share() const {
  if (in_list_ || next_ == 0) return next_ == 0 ? 0 : -1;
  double current = 1;
  if (archive_) current = archive_->share();
  if (folder_ != fs::recursive_directory_iterator() && of_folder_ > 0) {
    current = static_cast<double>(in_folder_) / static_cast<double>(of_folder_);
  }
  return (static_cast<double>(next_ - 1) + current) / static_cast<double>(paths_.size());
}

}  // namespace orba::tool
