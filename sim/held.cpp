#include "sim/held.h"

#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace sim {

std::string Held::describe() const {
  static const char *const names[] = {"descriptor", "stream", "folder", "memory", "mapping"};
  std::map<Kind, int> counts;
  for (const auto &[thing, size] : things_) counts[thing.first]++;
  std::string text;
  for (const auto &[kind, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + names[kind];
  }
  return text;
}

void Held::releaseAll() {
  for (const auto &[thing, size] : things_) {
    void *pointer = reinterpret_cast<void *>(thing.second);
    switch (thing.first) {
      case kDescriptor:
        close(static_cast<int>(thing.second));
        break;
      case kStream:
        fclose(static_cast<FILE *>(pointer));
        break;
      case kFolder:
        closedir(static_cast<DIR *>(pointer));
        break;
      case kMemory:
        free(pointer);
        break;
      case kMapping:
        munmap(pointer, size);
        break;
    }
  }
  things_.clear();
}

}  // namespace sim
