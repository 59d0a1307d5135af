#include "program.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace judge {

std::string failure(const std::string &what) {
  return what + ": " + strerror(errno);
}

Ran run(const Words &words, const std::string &input) {
  const int in = memfd_create("input", MFD_CLOEXEC), out = memfd_create("output", MFD_CLOEXEC);
  if (in < 0 || out < 0) throw Lacking(failure("memfd_create"));
  if (::write(in, input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
    throw Lacking(failure("write"));
  }
  lseek(in, 0, SEEK_SET);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, in, 0);
  posix_spawn_file_actions_adddup2(&files, out, 1);
  posix_spawn_file_actions_adddup2(&files, out, 2);
  std::vector<char *> arguments;
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child;
  const int error = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  Ran ran{127, ""};
  if (error == 0) {
    int status = 0;
    waitpid(child, &status, 0);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    const off_t size = lseek(out, 0, SEEK_END);
    ran.output.resize(static_cast<size_t>(size));
    if (pread(out, ran.output.data(), ran.output.size(), 0) != size) ran.output.clear();
  }
  close(in);
  close(out);
  return ran;
}

void mustRun(const Words &words, const std::string &input) {
  const Ran ran = run(words, input);
  if (ran.status != 0) throw Lacking(words[0] + " fails: " + ran.output);
}

void writeFile(const std::string &path, const std::string &content) {
  std::ofstream file(path);
  if (!(file << content << std::flush)) throw Lacking(failure(path));
}

std::vector<std::string> split(const std::string &text, char separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

}  // namespace judge
