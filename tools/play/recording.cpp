#include "tools/play/recording.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

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
                 {"asked", device.asked()},
                 {"missing", device.missing()},
                 {"milliseconds", device.clock().elapsed()}};
  for (const Event &event : device.events()) {
    record["events"].push_back({event.kind, event.text, event.at});
    if (event.kind != Event::kFile) continue;
    if (std::optional<std::string> content = device.text(event.text)) {
      record["files"][event.text] = *content;
    }
  }
  return record;
}

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

constexpr long long kTick = 100;  // of the WPS monitors, in milliseconds

// Does not return.
void callAndSend(const Recording &run, const Prepare &prepare, long long ticks, int descriptor) {
  auto device = std::make_unique<sim::Device>();
  auto sendAndLeave = [&](const json &record) {
    send(descriptor, record);
    device.reset();  // its folder goes with it
    _exit(0);
  };
  try {
    putSettings(run.config, *device);
    if (prepare) prepare(*device);
    device->onExit([&](int status) {
      sendAndLeave(recordOf(*device, {"exit " + std::to_string(status), {}}));
    });
    CallResult result = entryPointNamed(run.entry).call(run.words);
    for (long long i = 0; i < ticks && device->clock().armed(); i++) device->advance(kTick);
    sendAndLeave(recordOf(*device, result));
  } catch (const BadArgument &error) {
    sendAndLeave({{kBadArgument, error.what()}});
  } catch (const BadConfig &error) {
    sendAndLeave({{kBadConfig, error.what()}});
  } catch (const std::exception &error) {
    sendAndLeave({{kFailed, error.what()}});
  }
}

// The record of a call that was made in a process of its own.
json recordFromOutside(const Recording &run, const Prepare &prepare, long long ticks) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody else would end a call that waits for ever
    close(ends[0]);
    callAndSend(run, prepare, ticks, ends[1]);
  }
  int error = errno;
  close(ends[1]);
  std::vector<uint8_t> bytes;
  int status = 0;
  if (child > 0) {
    bytes = receive(ends[0]);
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  }
  close(ends[0]);
  if (child < 0) throw std::system_error(error, std::generic_category(), "fork");
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(run.entry + (WIFSIGNALED(status)
                                              ? ": " + std::string(strsignal(WTERMSIG(status)))
                                              : " ended by itself"));
  }
  return json::from_cbor(bytes);
}

}  // namespace

const std::string *Recording::value(int space, const std::string &key) const {
  for (const nvram::Setting &setting : config) {
    if (setting.space == space && setting.key == key) return &setting.value;
  }
  return nullptr;
}

namespace {

// All of a run but what its commands make of the packet filter.
Recording recordedOn(const std::vector<nvram::Setting> &config, const std::string &entry,
                     const std::vector<std::string> &words, const Prepare &prepare,
                     long long ticks) {
  entryPointNamed(entry).checkWords(words);
  Recording run;
  run.entry = entry;
  run.words = words;
  run.config = config;
  json record = recordFromOutside(run, prepare, ticks);
  if (record.contains(kBadArgument)) throw BadArgument(record[kBadArgument]);
  if (record.contains(kBadConfig)) throw BadConfig(record[kBadConfig]);
  if (record.contains(kFailed)) throw std::runtime_error(record[kFailed]);

  run.result = {record["returned"], record["outputs"]};
  run.files = record["files"];
  run.asked = record["asked"];
  run.missing = record["missing"];
  run.milliseconds = record["milliseconds"];
  for (const json &event : record["events"]) {
    run.events.push_back({event[0], event[1], event[2]});
    const std::string &text = run.events.back().text;
    if (event[0] == Event::kCommand) run.commands.push_back(sim::withoutRunnerRedirection(text));
    if (event[0] == Event::kSet || event[0] == Event::kBufset) run.writes.push_back("set " + text);
    if (event[0] == Event::kCommit) run.writes.push_back("commit " + text);
    if (event[0] == Event::kPrinted) run.printed += text;
    if (event[0] == Event::kError) run.errors += text;
  }
  return run;
}

}  // namespace

Recording record(const std::vector<nvram::Setting> &config, const std::string &entry,
                 const std::vector<std::string> &words, const Prepare &prepare, long long ticks) {
  Recording run = recordedOn(config, entry, words, prepare, ticks);
  run.filter.run(run.commands);
  return run;
}

std::vector<std::string> recordCommands(const std::vector<nvram::Setting> &config,
                                        const std::string &entry,
                                        const std::vector<std::string> &words,
                                        const Prepare &prepare) {
  return recordedOn(config, entry, words, prepare, 0).commands;
}

}  // namespace orba::tool
