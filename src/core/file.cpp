#include "core/file.h"

namespace orba {

bool Stream::readLine(char *line, size_t size) {
  return fgets(line, static_cast<int>(size), stream_) != nullptr;
}

void Stream::readAll(char *text, size_t size) {
  text[fread(text, 1, size - 1, stream_)] = '\0';
}

File::File(const char *path, const char *mode) : Stream(fopen(path, mode)) {}

bool File::close() {
  if (stream_ == nullptr) return true;
  FILE *closing = stream_;
  stream_ = nullptr;
  return fclose(closing) == 0;
}

Pipe::Pipe(const char *command) : Stream(popen(command, "r")) {}

Pipe::~Pipe() {
  if (stream_ != nullptr) pclose(stream_);
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) close(fd_);
}

bool fileExists(const char *path) {
  return static_cast<bool>(File(path, "r"));
}

}  // namespace orba
