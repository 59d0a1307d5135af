#include "net/policy_table_names.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>

#include "core/file.h"
#include "core/rule_list.h"
#include "core/text.h"

namespace orba {

namespace {

constexpr char kNewTableNames[] = "/etc/iproute2/rt_tables.new";

// The file as it is, however long it and its lines are.
class OldFile {
 public:
  OldFile() {
    Descriptor file(open(kTableNames, O_RDONLY | O_CLOEXEC));
    missing_ = !file && errno == ENOENT;
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0) return;
    mode_ = status.st_mode & 07777;
    size_ = static_cast<size_t>(status.st_size);
    if (size_ > 0) content_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.get(), 0);
    readable_ = content_ != MAP_FAILED;
  }
  OldFile(const OldFile &) = delete;
  OldFile &operator=(const OldFile &) = delete;
  ~OldFile() {
    if (readable_ && size_ > 0) munmap(content_, size_);
  }

  bool missing() const { return missing_; }
  bool readable() const { return readable_; }
  Slice content() const {
    return size_ > 0 && readable_ ? Slice{static_cast<const char *>(content_), size_}
                                  : Slice{"", 0};
  }
  mode_t mode() const { return mode_; }

 private:
  bool missing_ = false;
  bool readable_ = false;
  void *content_ = nullptr;
  size_t size_ = 0;
  mode_t mode_ = 0644;
};

// Is written beside the old file and takes its place only when all of it is on
// the disk.
class NewFile {
 public:
  explicit NewFile(mode_t mode) : file_(startAfresh(), "wx") {
    if (file_) whole_ = fchmod(fileno(file_.get()), mode) == 0;
  }
  NewFile(const NewFile &) = delete;
  NewFile &operator=(const NewFile &) = delete;
  ~NewFile() {
    if (!replaced_) unlink(kNewTableNames);
  }

  void write(const char *text, size_t length) {
    if (length > 0 && file_) whole_ = whole_ && fwrite(text, 1, length, file_.get()) == length;
  }
  bool replaceOld() {
    if (!file_) return false;
    whole_ = whole_ && fflush(file_.get()) == 0 && fsync(fileno(file_.get())) == 0;
    whole_ = file_.close() && whole_;
    replaced_ = whole_ && rename(kNewTableNames, kTableNames) == 0;
    return replaced_;
  }

 private:
  // An interrupted run may have left its own.
  static const char *startAfresh() {
    unlink(kNewTableNames);
    return kNewTableNames;
  }

  File file_;
  bool whole_ = false;
  bool replaced_ = false;
};

// A name ends with its line.
int nameLength(const char *name, size_t longest) {
  size_t length = strcspn(name, "\r\n");
  return static_cast<int>(length < longest ? length : longest);
}

bool holds(const char *line, size_t length, const TextBuffer &pattern) {
  return memmem(line, length, pattern.text(), pattern.length()) != nullptr;
}

}  // namespace

bool addTableName(int number, const char *name) {
  Text<1024> line;
  line.format("%d pf_%.*s\n", number, nameLength(name, line.size()), name);
  OldFile old;
  if (!line.fits() || (!old.readable() && !old.missing())) return false;

  NewFile file(old.mode());
  Slice kept = old.content();
  file.write(kept.begin, kept.length);
  if (!kept.empty() && kept.begin[kept.length - 1] != '\n') file.write("\n", 1);
  file.write(line.text(), line.length());
  return file.replaceOld();
}

bool removeTableName(int number, const char *name) {
  Text<80> pattern;
  pattern.format("%d pf_%.*s", number, nameLength(name, 63), name);
  OldFile old;
  if (!old.readable()) return false;

  NewFile file(old.mode());
  Slice rest = old.content();
  while (!rest.empty()) {
    const void *newline = memchr(rest.begin, '\n', rest.length);
    size_t length = newline == nullptr
                        ? rest.length
                        : static_cast<size_t>(static_cast<const char *>(newline) - rest.begin) + 1;
    if (!holds(rest.begin, length, pattern)) file.write(rest.begin, length);
    rest = {rest.begin + length, rest.length - length};
  }
  return file.replaceOld();
}

}  // namespace orba
