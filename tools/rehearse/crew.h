// Workers: processes that do tasks, of which one that dies takes nothing with it but what it died
// of.
#ifndef ORBA_TOOLS_REHEARSE_CREW_H
#define ORBA_TOOLS_REHEARSE_CREW_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace orba::tool {

// What a worker is at: a part of its task, and a step of that. In memory that outlives it.
struct Place {
  volatile uint32_t part = 0, step = 0;
};
// By part and step, what a worker died of there twice: "Segmentation fault".
using Deaths = std::map<std::pair<uint32_t, uint32_t>, std::string>;

// Does a task in a worker. Before each step it says in `place` where it is, and it leaves out those
// in `deaths`. A part that takes longer than a minute has died.
using Work =
    std::function<std::string(const std::string &task, const Deaths &deaths, Place &place)>;

// Says in `place` what comes now; each part has its minute.
void beginStep(Place &place, uint32_t part, uint32_t step);

// Whence the tasks come.
struct Tasks {
  // Nothing at their end; an empty one when none has come together yet.
  std::function<std::optional<std::string>()> next;
  int descriptor = -1;  // that can be read from when next() is worth asking; negative: at once
};

// Has the tasks done by that many workers beside each other, and hands over what came of them, in
// the order of the tasks. What `done` throws ends it. Throws std::system_error when there can be
// no worker, std::runtime_error when one dies twice outside of any step.
void haveDone(const Tasks &tasks, size_t workers, const Work &work,
              const std::function<void(std::string result)> &done);

}  // namespace orba::tool

#endif
