// Files, pipes and descriptors that close themselves on every path.
#ifndef ORBA_CORE_FILE_H
#define ORBA_CORE_FILE_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace orba {

class File {
 public:
  File(const char *path, const char *mode) : file_(fopen(path, mode)) {}
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  ~File() { close(); }

  explicit operator bool() const { return file_ != nullptr; }
  FILE *get() const { return file_; }
  // The next line with its newline, cut to N - 1 characters; the rest of a
  // longer line is the next one. False at the end.
  template <size_t N>
  bool readLine(char (&line)[N]) {
    return fgets(line, N, file_) != nullptr;
  }
  // False when what was written did not all reach the file.
  bool close() {
    if (file_ == nullptr) return true;
    FILE *closing = file_;
    file_ = nullptr;
    return fclose(closing) == 0;
  }

 private:
  FILE *file_;
};

// What a command prints.
class Pipe {
 public:
  explicit Pipe(const char *command) : pipe_(popen(command, "r")) {}
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;
  ~Pipe() {
    if (pipe_ != nullptr) pclose(pipe_);
  }

  explicit operator bool() const { return pipe_ != nullptr; }
  FILE *get() const { return pipe_; }
  template <size_t N>
  bool readLine(char (&line)[N]) {
    return fgets(line, N, pipe_) != nullptr;
  }
  // All of the output up to N - 1 bytes, terminated.
  template <size_t N>
  void readAll(char (&text)[N]) {
    text[fread(text, 1, N - 1, pipe_)] = '\0';
  }

 private:
  FILE *pipe_;
};

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_;
};

inline bool fileExists(const char *path) {
  return static_cast<bool>(File(path, "r"));
}

}  // namespace orba

#endif
