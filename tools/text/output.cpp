#include "tools/text/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <streambuf>
#include <string_view>

namespace orba::tool {

namespace {

[[noreturn]] void fail(const std::string &name) {
  throw CannotWrite(name, errno);
}

bool writeAll(int file, std::string_view content) {
  for (size_t sent = 0; sent < content.size();) {
    const ssize_t now = write(file, content.data() + sent, content.size() - sent);
    if (now < 0 && errno != EINTR) return false;
    if (now > 0) sent += static_cast<size_t>(now);
  }
  return true;
}

// Keeps why a write failed, which a stream forgets.
class StandardOutput : public std::streambuf {
 public:
  StandardOutput() { setp(std::begin(buffer_), std::end(buffer_)); }

 protected:
  int_type overflow(int_type c) override {
    sync();
    return c == traits_type::eof() ? 0 : sputc(static_cast<char>(c));
  }

  // What did not arrive is not tried again.
  int sync() override {
    const std::string_view held(pbase(), static_cast<size_t>(pptr() - pbase()));
    setp(std::begin(buffer_), std::end(buffer_));
    if (!writeAll(STDOUT_FILENO, held)) fail("standard output");
    return 0;
  }

 private:
  char buffer_[16384];
};

// Closing tells of what a file system could not take after all.
bool writeAndClose(int file, const std::string &content) {
  const bool written = writeAll(file, content);
  const int error = errno;
  const bool closed = close(file) == 0;
  if (!written) errno = error;
  return written && closed;
}

mode_t modeOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

CannotWrite::CannotWrite(const std::string &name, int why)
    : std::runtime_error(name + ": " + strerror(why)), error(why) {}

void watchStandardOutput() {
  static StandardOutput *const output = new StandardOutput;  // until the very end
  std::cout.rdbuf(output);
  std::cout.exceptions(std::ios::badbit);
}

void writeWhole(const std::string &path, const std::string &content) {
  struct stat status;
  const bool is_there = stat(path.c_str(), &status) == 0;
  if (is_there && !S_ISREG(status.st_mode)) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0 || !writeAndClose(file, content)) fail(path);
    return;
  }
  // What a link leads to is replaced, and not the link.
  std::error_code ignored;
  const std::string target = is_there ? std::filesystem::canonical(path, ignored).string() : path;
  std::string fresh = target + ".XXXXXX";
  const int file = mkostemp(fresh.data(), O_CLOEXEC);
  if (file < 0) fail(path);
  const bool done = fchmod(file, is_there ? status.st_mode & 0777 : modeOfNewFiles()) == 0;
  if (!writeAndClose(file, content) || !done || rename(fresh.c_str(), target.c_str()) != 0) {
    const int error = errno;
    unlink(fresh.c_str());
    errno = error;
    fail(path);
  }
}

}  // namespace orba::tool
