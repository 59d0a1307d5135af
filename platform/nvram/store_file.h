/* A file that other processes replace at any time, and that is only ever
 * replaced whole. Everything here throws std::system_error. */
#ifndef NVRAM_STORE_FILE_H
#define NVRAM_STORE_FILE_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nvram {

class Descriptor {
 public:
  Descriptor(const std::string &path, int flags, mode_t mode = 0);
  ~Descriptor();
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int number() const { return number_; }

 private:
  int number_;
};

/* What changes with every replacement of a file, and with an edit in place. */
struct Identity {
  dev_t device;
  ino_t inode;
  std::int64_t seconds;  // of the last modification, with
  std::int64_t nanoseconds;
  off_t size;

  bool operator==(const Identity &) const = default;
};

struct File {
  std::string text;
  Identity identity;
};

/* Nothing when there is no such file. */
std::optional<Identity> identify(const std::string &path);
std::optional<File> readFile(const std::string &path);

/* Gives `path` the contents `text`, on the disk when this returns. Whatever
 * happens meanwhile, `path` holds its old contents or `text`. The file keeps
 * its mode and owner; a new one is its owner's alone. One writer at a time. */
Identity replaceFile(const std::string &path, std::string_view text);

/* Makes `folder` unless it is there. */
void makeFolder(const std::string &folder);

/* Makes the name of `path` durable. */
void syncName(const std::string &path);

/* Keeps every other process's lock of `path` waiting. */
class FileLock {
 public:
  explicit FileLock(const std::string &path);

 private:
  Descriptor file_;  // closing it, or dying, lets the lock go
};

}  // namespace nvram

#endif
