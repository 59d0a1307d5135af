#include "tools/play/recording.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "sim/library_state.h"
#include "tools/device/config.h"

namespace orba::tool {

namespace {

using nlohmann::json;
using sim::Event;

// What went wrong in the other process, by what is to be thrown in this one.
constexpr char kBadArgument[] = "argument", kBadConfig[] = "config", kFailed[] = "failed";

json recordOf(const sim::Device &device, const CallResult &result) {
  json record = {{"returned", result.returned},
                 {"outputs", result.outputs},
                 {"events", json::array()},
                 {"files", json::object()},
                 {"asked", json::array()},
                 {"missing", device.missing()},
                 {"milliseconds", device.clock().elapsed()}};
  for (const auto &name : device.asked()) {
    record["asked"].push_back({name, device.firstAsked().at(name)});
  }
  for (const Event &event : device.events()) {
    record["events"].push_back({event.kind, event.text, event.at});
    if (event.kind != Event::kFile) continue;
    if (std::optional<std::string> content = device.text(event.text)) {
      record["files"][event.text] = *content;
    }
  }
  return record;
}

// A setting, and how many events there were before it.
using AskedFirst = std::pair<std::pair<int, std::string>, size_t>;

// In a binary form, which holds any bytes: settings need not be UTF-8.
void send(int descriptor, const json &record) {
  std::vector<uint8_t> bytes = json::to_cbor(record);
  for (size_t sent = 0; sent < bytes.size();) {
    ssize_t now = write(descriptor, bytes.data() + sent, bytes.size() - sent);
    if (now < 0 && errno != EINTR) return;
    if (now > 0) sent += static_cast<size_t>(now);
  }
}

std::vector<uint8_t> receive(int descriptor) {
  std::vector<uint8_t> bytes;
  uint8_t part[65536];
  for (;;) {
    ssize_t now = read(descriptor, part, sizeof part);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return bytes;
    bytes.insert(bytes.end(), part, part + now);
  }
}

// A call with these settings, on the device that `prepare` makes of them.
struct Situation {
  const std::vector<nvram::Setting> &config;
  const std::string &entry;
  const std::vector<std::string> &words;
  const Prepare &prepare;
  long long ticks = 0;
};

// Told what came of a call.
using Made = std::function<void(const sim::Device &device, const CallResult &result)>;

// `leave` is called when the call ends the process, behind `made`; it does not return.
void call(const Situation &situation, const Made &made, const std::function<void()> &leave) {
  auto device = std::make_unique<sim::Device>();
  putSettings(situation.config, *device);
  if (situation.prepare) situation.prepare(*device);
  device->onExit([&](int status) {
    made(*device, {"exit " + std::to_string(status), {}});
    device.reset();  // its folder goes with it
    leave();
  });
  CallResult result = entryPointNamed(situation.entry).call(situation.words);
  for (long long i = 0; i < situation.ticks && device->clock().armed(); i++) {
    device->advance(kTickMilliseconds);
  }
  made(*device, result);
}

// A process of its own, which makes calls of an entry point and sends what it found.
class OwnProcess {
 public:
  // `work` fills the record and calls `leave` when it can go no further.
  using Work = std::function<void(json &record, const std::function<void()> &leave)>;

  OwnProcess(std::string entry, const Work &work);
  OwnProcess(const OwnProcess &) = delete;
  OwnProcess &operator=(const OwnProcess &) = delete;
  ~OwnProcess() {
    if (child_ > 0) end();
  }

  // Waits for it. Throws what the call threw, or std::runtime_error when it died.
  json record();

 private:
  static void workAndSend(const Work &work, int descriptor);
  int end();

  std::string entry_;
  pid_t child_ = -1;
  int descriptor_ = -1;
};

OwnProcess::OwnProcess(std::string entry, const Work &work) : entry_(std::move(entry)) {
  // The folder in which those of all devices are: each process would make its own.
  static const sim::Root folder_made;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t maker = getpid();
  child_ = fork();
  if (child_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody else would end a call that waits for ever
    if (getppid() != maker) _exit(1);  // it has ended already
    close(ends[0]);
    workAndSend(work, ends[1]);
  }
  int error = errno;
  close(ends[1]);
  descriptor_ = ends[0];
  if (child_ > 0) return;
  close(descriptor_);
  throw std::system_error(error, std::generic_category(), "fork");
}

// Does not return.
void OwnProcess::workAndSend(const Work &work, int descriptor) {
  json record;
  auto leave = [&] {
    send(descriptor, record);
    _exit(0);
  };
  try {
    work(record, leave);
  } catch (const BadArgument &error) {
    record = {{kBadArgument, error.what()}};
  } catch (const BadConfig &error) {
    record = {{kBadConfig, error.what()}};
  } catch (const std::exception &error) {
    record = {{kFailed, error.what()}};
  }
  leave();
}

int OwnProcess::end() {
  int status = 0;
  close(descriptor_);
  while (waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
  child_ = -1;
  return status;
}

json OwnProcess::record() {
  std::vector<uint8_t> bytes = receive(descriptor_);
  int status = end();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(entry_ + (WIFSIGNALED(status)
                                           ? ": " + std::string(strsignal(WTERMSIG(status)))
                                           : " ended by itself"));
  }
  json record = json::from_cbor(bytes);
  if (record.contains(kBadArgument)) throw BadArgument(record[kBadArgument]);
  if (record.contains(kBadConfig)) throw BadConfig(record[kBadConfig]);
  if (record.contains(kFailed)) throw std::runtime_error(record[kFailed]);
  return record;
}

}  // namespace

const std::string *Recording::value(int space, const std::string &key) const {
  for (const nvram::Setting &setting : config) {
    if (setting.space == space && setting.key == key) return &setting.value;
  }
  return nullptr;
}

std::vector<size_t> readEvents(Recording &run) {
  std::vector<size_t> commands_before;
  for (const Event &event : run.events) {
    commands_before.push_back(run.commands.size());
    const std::string &text = event.text;
    if (event.kind == Event::kCommand) run.commands.push_back(sim::withoutRunnerRedirection(text));
    if (event.kind == Event::kSet || event.kind == Event::kBufset) {
      run.writes.push_back("set " + text);
    }
    if (event.kind == Event::kCommit) run.writes.push_back("commit " + text);
    if (event.kind == Event::kPrinted) run.printed += text;
    if (event.kind == Event::kError) run.errors += text;
  }
  commands_before.push_back(run.commands.size());
  return commands_before;
}

Recording record(const std::vector<nvram::Setting> &config, const std::string &entry,
                 const std::vector<std::string> &words, const Prepare &prepare, long long ticks) {
  entryPointNamed(entry).checkWords(words);
  Recording run;
  run.entry = entry;
  run.words = words;
  run.config = config;
  auto callOnce = [&](json &record, const std::function<void()> &leave) {
    call(
        {config, entry, words, prepare, ticks},
        [&](const sim::Device &device, const CallResult &result) {
          record = recordOf(device, result);
        },
        leave);
  };
  json record = OwnProcess(entry, callOnce).record();
  run.result = {record["returned"], record["outputs"]};
  run.files = record["files"];
  run.missing = record["missing"];
  run.milliseconds = record["milliseconds"];
  for (const json &event : record["events"]) {
    run.events.push_back({event[0], event[1], event[2]});
  }
  const std::vector<size_t> commands_before = readEvents(run);
  for (const auto &[name, events_before] : record["asked"].get<std::vector<AskedFirst>>()) {
    run.asked[name] = commands_before[events_before];
  }
  run.filter.run(run.commands);
  return run;
}

std::vector<std::string> recordCommands(const std::vector<nvram::Setting> &config,
                                        const std::string &entry,
                                        const std::vector<std::string> &words,
                                        const Prepare &prepare) {
  entryPointNamed(entry).checkWords(words);
  auto callOnce = [&](json &record, const std::function<void()> &leave) {
    call(
        {config, entry, words, prepare},
        [&](const sim::Device &device, const CallResult &) {
          record = {{"commands", device.commands()}};
        },
        leave);
  };
  return OwnProcess(entry, callOnce).record()["commands"];
}

std::vector<std::vector<size_t>> lookAtCalls(size_t count, const CallOf &callOf,
                                             const Prepare &prepare, const Look &look) {
  const size_t together = std::max(std::thread::hardware_concurrency(), 1u);
  // One process for each that run beside each other, as long as the library can be made as new.
  auto callFrom = [&](size_t first) {
    return [&, first](json &record, const std::function<void()> &leave) {
      sim::LibraryState as_new;
      for (size_t i = first; i < count; i += together) {
        const CallToMake made = callOf(i);
        call(
            {made.config, made.entry, made.words, prepare},
            [&](const sim::Device &device, const CallResult &) {
              record["seen"].push_back(look(i, device));
            },
            leave);
        if (!sim::LibraryState::known()) return;
        as_new.restore();
      }
    };
  };
  std::vector<std::vector<size_t>> seen(count);
  // By the first call that is left of each.
  std::deque<std::pair<size_t, OwnProcess>> processes;
  const auto begin = [&](size_t first) {
    processes.emplace_back(std::piecewise_construct, std::forward_as_tuple(first),
                           std::forward_as_tuple(callOf(first).entry, callFrom(first)));
  };
  for (size_t i = 0; i < std::min(together, count); i++) begin(i);
  for (; !processes.empty(); processes.pop_front()) {
    auto &[next, process] = processes.front();
    for (std::vector<size_t> &one :
         process.record()["seen"].get<std::vector<std::vector<size_t>>>()) {
      seen[next] = std::move(one);
      next += together;
    }
    if (next < count) begin(next);
  }
  return seen;
}

}  // namespace orba::tool
