#include "net/policy_table_names.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>

#include "core/file.h"
#include "core/text.h"

namespace orba {

namespace {

constexpr char kFolder[] = "/etc/iproute2";
constexpr char kNewTableNames[] = "/etc/iproute2/rt_tables.new";
constexpr char kLineEnds[] = "\r\n";

// The file, to nobody else who edits it here: the folder is locked, which stays
// when the file is replaced.
class TableNames {
 public:
  explicit TableNames(int flags)
      : folder_(open(kFolder, O_RDONLY | O_CLOEXEC)), file_(openLocked(flags)) {}

  explicit operator bool() const { return static_cast<bool>(file_); }
  int get() const { return file_.get(); }

 private:
  int openLocked(int flags) {
    lockShortly(folder_.get());
    return open(kTableNames, flags | O_CLOEXEC, 0644);
  }

  Descriptor folder_;
  Descriptor file_;
};

bool writeAll(int file, const char *text, size_t length) {
  while (length > 0) {
    ssize_t written = write(file, text, length);
    if (written <= 0) return false;
    text += written;
    length -= static_cast<size_t>(written);
  }
  return true;
}

// What is kept on no disk has nothing to wait for.
bool isOnDisk(int file) {
  return fsync(file) == 0 || errno == EINVAL;
}

// `count` names from the number `first` on; one without a name has a null `begin`.
struct Names {
  int first;
  const Slice *names;
  int count;

  bool has(int number, const char *name, size_t length) const {
    if (number < first || number - first >= count) return false;
    const Slice &wanted = names[number - first];
    return wanted.begin != nullptr && wanted.length <= length &&
           memcmp(name, wanted.begin, wanted.length) == 0;
  }
  // Whether "NUMBER pf_NAME" of one of them stands anywhere in the line: any end
  // of a number is one too, so "1202 pf_x" holds "202 pf_x".
  bool haveOneIn(const char *line, const char *end) const;
};

bool Names::haveOneIn(const char *line, const char *end) const {
  constexpr int kLargestUnit = 100000000;
  const char *at = line;
  while (true) {
    const void *found = memmem(at, static_cast<size_t>(end - at), " pf_", 4);
    if (found == nullptr) return false;
    const char *digit = static_cast<const char *>(found);
    at = digit + 4;
    int number = 0;
    for (int unit = 1; digit > line && isdigit(static_cast<unsigned char>(digit[-1])) != 0;
         unit *= 10) {
      number += (*--digit - '0') * unit;
      if (has(number, at, static_cast<size_t>(end - at))) return true;
      if (unit == kLargestUnit) break;
    }
  }
}

// The file as it was, however long it and its lines are, and what of it is to
// stay. Both are copies, which nobody else cuts short.
class Content {
 public:
  explicit Content(int file) {
    if (fstat(file, &status_) != 0) return;
    size_ = static_cast<size_t>(status_.st_size);
    space_ = static_cast<char *>(
        mmap(nullptr, 2 * size_ + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (space_ == MAP_FAILED) return;
    while (length_ < size_) {
      ssize_t got = read(file, space_ + length_, size_ - length_);
      if (got <= 0) return;
      length_ += static_cast<size_t>(got);
    }
    whole_ = true;
  }
  Content(const Content &) = delete;
  Content &operator=(const Content &) = delete;
  ~Content() {
    if (space_ != MAP_FAILED) munmap(space_, 2 * size_ + 1);
  }

  bool whole() const { return whole_; }
  size_t size() const { return size_; }
  const struct stat &status() const { return status_; }
  const char *text() const { return space_; }
  const char *kept() const { return space_ + size_; }
  size_t keptLength() const { return static_cast<size_t>(kept_end_ - kept()); }

  void keepAllBut(const Names &names) {
    kept_end_ = space_ + size_;
    for (const char *line = space_; line < kept();) {
      const void *newline = memchr(line, '\n', static_cast<size_t>(kept() - line));
      const char *next = newline != nullptr ? static_cast<const char *>(newline) + 1 : kept();
      size_t length = static_cast<size_t>(next - line);
      if (!names.haveOneIn(line, next)) {
        memcpy(kept_end_, line, length);
        kept_end_ += length;
      }
      line = next;
    }
  }

 private:
  struct stat status_;
  char *space_ = static_cast<char *>(MAP_FAILED);
  size_t size_ = 0;
  size_t length_ = 0;
  char *kept_end_ = nullptr;
  bool whole_ = false;
};

// What other programs have appended since the old file was read.
bool writeAppended(int file, int old_file, const Content &content) {
  char text[256];
  ssize_t got;
  off_t at = static_cast<off_t>(content.size());
  while ((got = pread(old_file, text, sizeof text, at)) > 0) {
    if (!writeAll(file, text, static_cast<size_t>(got))) return false;
    at += got;
  }
  return got == 0;
}

// A file with other names, or of which this one is a link, stays where they lead.
bool hasOneName(const struct stat &status) {
  return status.st_nlink == 1 && Descriptor(open(kTableNames, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
}

// Puts a new file in the place of the old one, when all of it is on the disk.
// False where the old one has to stay: a mount, a link, a folder that is full or
// takes no file, an owner that cannot be given.
bool replace(int old_file, const Content &content) {
  const struct stat &status = content.status();
  if (!hasOneName(status)) return false;
  unlink(kNewTableNames);  // an interrupted run may have left its own
  Descriptor file(
      open(kNewTableNames, O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) return false;
  if (writeAll(file.get(), content.kept(), content.keptLength()) &&
      fchown(file.get(), status.st_uid, status.st_gid) == 0 &&
      fchmod(file.get(), status.st_mode) == 0 && isOnDisk(file.get()) &&
      rename(kNewTableNames, kTableNames) == 0) {
    writeAppended(file.get(), old_file, content);
    return true;
  }
  unlink(kNewTableNames);
  return false;
}

// What fails on the way is undone, as far as the disk lets it.
bool rewriteInPlace(int file, const Content &content) {
  lseek(file, 0, SEEK_SET);
  if (writeAll(file, content.kept(), content.keptLength()) && writeAppended(file, file, content) &&
      ftruncate(file, lseek(file, 0, SEEK_CUR)) == 0) {
    return isOnDisk(file);
  }
  lseek(file, 0, SEEK_SET);
  writeAll(file, content.text(), content.size());
  return false;
}

bool removeLines(int flags, const Names &names) {
  TableNames file(flags);
  if (!file) return false;
  Content content(file.get());
  if (!content.whole()) return false;
  content.keepAllBut(names);
  return content.keptLength() == content.size() || replace(file.get(), content) ||
         rewriteInPlace(file.get(), content);
}

// Lines behind all others, each whole whoever else appends. What of them could
// not be written is taken back.
class Appending {
 public:
  Appending() : file_(O_RDWR | O_APPEND | O_CREAT), size_(lseek(file_.get(), 0, SEEK_END)) {
    char last = '\n';
    whole_ = size_ == 0 || pread(file_.get(), &last, 1, size_ - 1) == 1;
    if (last != '\n') write("\n", 1);
  }
  void add(int number, Slice name) {
    Text<1024> line;
    line.format("%d pf_", number).append(name.begin, name.length).append("\n");
    whole_ = whole_ && line.fits();
    write(line.text(), line.length());
  }
  bool done() {
    if (whole_ && isOnDisk(file_.get())) return true;
    if (written_) (void)!ftruncate(file_.get(), size_);
    return false;
  }

 private:
  void write(const char *text, size_t length) {
    if (!whole_) return;
    written_ = true;
    whole_ = writeAll(file_.get(), text, length);
  }

  TableNames file_;
  off_t size_;
  bool whole_;
  bool written_ = false;
};

}  // namespace

size_t tableNameLength(const char *name) {
  size_t length = strcspn(name, kLineEnds);
  return length < kLongestTableName ? length : kLongestTableName;
}

bool addTableName(int number, const char *name) {
  Appending lines;
  lines.add(number, {name, strcspn(name, kLineEnds)});
  return lines.done();
}

bool removeTableName(int number, const char *name) {
  Slice wanted = {name, tableNameLength(name)};
  return removeLines(O_RDWR, {number, &wanted, 1});
}

bool renewTableNames(int first, const Slice *names, int count) {
  if (!removeLines(O_RDWR | O_CREAT, {first, names, count})) return false;
  Appending lines;
  for (int i = 0; i < count; i++) {
    if (names[i].begin != nullptr) lines.add(first + i, names[i]);
  }
  return lines.done();
}

}  // namespace orba
