// Files, pipes and descriptors that close themselves on every path.
#ifndef ORBA_CORE_FILE_H
#define ORBA_CORE_FILE_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#pragma GCC visibility push(hidden)
namespace orba {

// A stream to read lines from; File and Pipe say how it is opened and closed.
class Stream {
 public:
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;

  explicit operator bool() const { return stream_ != nullptr; }
  FILE *get() const { return stream_; }
  // The next line with its newline, cut to N - 1 characters; the rest of a
  // longer line is the next one. False at the end.
  template <size_t N>
  bool readLine(char (&line)[N]) {
    return readLine(line, N);
  }
  // All that is left up to N - 1 bytes, terminated.
  template <size_t N>
  void readAll(char (&text)[N]) {
    readAll(text, N);
  }

 protected:
  explicit Stream(FILE *stream) : stream_(stream) {}
  ~Stream() = default;

  FILE *stream_;

 private:
  bool readLine(char *line, size_t size);
  void readAll(char *text, size_t size);
};

class File : public Stream {
 public:
  File(const char *path, const char *mode);
  // To read from a descriptor, which is closed with it; none for -1.
  explicit File(int fd);
  ~File() { close(); }
  // False when what was written did not all reach the file.
  bool close();
};

// What a command prints.
class Pipe : public Stream {
 public:
  explicit Pipe(const char *command);
  ~Pipe();
};

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  ~Descriptor();

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_;
};

bool fileExists(const char *path);

// Locks a file or folder until its descriptor is closed. Its rightful holders need
// moments; one that has not let go after a second is none of them (anybody can lock
// what he can read) and is waited for no longer.
void lockShortly(int fd);

// ---- files where everybody may put some ----
//
// In /tmp, others may have put a link, a FIFO or a file of theirs where one of
// ours belongs. Ours is a regular file with one name, this user's or root's.

// -1 when there is none of ours. Opened for reading, or with O_WRONLY for writing.
int openOurs(const char *path, int access = O_RDONLY);

// Whether a command that reads `path` of `folder` finds a file of ours, or nothing, and
// nobody else can put a FIFO there before it does, which would keep it waiting.
bool mayBeRead(const char *path, const char *folder);

// Before a command writes to `path`: what is not ours goes and an empty file takes
// its place; what is ours stays as it is, and loses the permissions that `mode`
// lacks. False when something else may be there, and the command is not to run.
bool claimFile(const char *path, mode_t mode = 0666);

// Makes `text` all that stands in a file of ours.
void writeOurs(const char *path, const char *text);

}  // namespace orba
#pragma GCC visibility pop

#endif
