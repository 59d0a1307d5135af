/* A file that other processes replace at any time, and that is only ever
 * replaced whole, in a folder that strangers cannot change. Everything here
 * throws std::system_error. */
#ifndef NVRAM_STORE_FILE_H
#define NVRAM_STORE_FILE_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nvram {

/* Throws `error`; `why` goes before its text. */
[[noreturn]] void refuse(int error, const char *why);

class Descriptor {
 public:
  /* Takes what open() returned. */
  explicit Descriptor(int number);
  ~Descriptor();
  Descriptor(Descriptor &&other) noexcept;
  Descriptor &operator=(Descriptor &&other) noexcept;

  int number() const { return number_; }

 private:
  int number_;
};

/* What changes with every replacement of a file, and with an edit in place. */
struct Identity {
  std::uint64_t device, inode;
  std::int64_t size;
  std::int64_t modified, modified_ns;
  std::int64_t changed, changed_ns;  // by the kernel's clock alone

  bool operator==(const Identity &) const = default;
};

struct File {
  std::string text;
  Identity identity;
  /* Whatever happens to the file from now on changes its identity. Until then
   * the file system's clock may be too coarse to tell. */
  bool settled;
  struct stat status;
};

/* Nothing when there is no such file. */
std::optional<Identity> identify(const std::string &path);
std::optional<File> readFile(const std::string &path);

/* Makes `folder` unless it is there; links of others on the way are refused. */
void makeFolder(std::string folder);

/* Where the file of a path is, or will be, once links are followed. EPERM when
 * somebody else made one on the way, or could change the folder: it has to belong
 * to this process's user or to root, and not everyone may write to it. A folder
 * that its owner opened to a group will do for the members, but not for root. */
class Place {
 public:
  explicit Place(std::string path);

  const std::string &name() const { return name_; }
  int folder() const { return folder_.number(); }

  /* A regular file of the folder, as openat() opens it. */
  int open(const std::string &name, int flags, mode_t mode = 0) const;
  std::optional<struct stat> look(const std::string &name) const;
  std::optional<File> read() const;

  /* Gives the folder's file `name` the contents `text`; whatever happens
   * meanwhile, it holds its old contents or `text`. It gets the mode of `like`, its
   * owner if we may give it away, and its group if we are in it, whoever has put
   * something else there since that was read. Without one it is its owner's
   * alone. One writer at a time. */
  void put(const std::string &name, std::string_view text, const std::optional<File> &like) const;
  bool remove(const std::string &name) const;

  /* Makes the folder's names durable, or with ".." its own. `within` is any
   * open file of the folder. */
  void syncNames(const Descriptor &within, const char *folder = ".") const;

 private:
  Descriptor folder_;
  std::string name_;
};

/* Keeps other processes from replacing a file. EWOULDBLOCK while one of them
 * does. Whoever may open the file to read can hold the lock. */
class FileLock {
 public:
  explicit FileLock(const Place &place);

  const Descriptor &file() const { return file_; }

 private:
  bool shared_;
  std::string name_;
  Descriptor file_;  // closing it, or dying, lets the lock go
};

}  // namespace nvram

#endif
