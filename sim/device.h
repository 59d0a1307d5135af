// A router made of a table and a folder.
//
//   sim::Device device;
//   device.settings({{"OperationMode", "1"}, {"wanConnectionMode", "PPPOE"}});
//   device.interface("ppp0").address("10.0.0.2");
//   iptablesPathMTU();
//   EXPECT_THAT(device.commands(), ElementsAre(...));
//
// While a Device lives it is the current one, and every call that the library
// makes of the C library or the settings store (sim/calls.txt) is answered by
// it and recorded in order. Without a Device the calls reach the real system.
#ifndef ORBA_SIM_DEVICE_H
#define ORBA_SIM_DEVICE_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "sim/clock.h"
#include "sim/faults.h"
#include "sim/held.h"
#include "sim/interfaces.h"
#include "sim/part.h"
#include "sim/root.h"

namespace sim {

// One thing that the library did, in the order of doing.
struct Event {
  enum Kind {
    kCommand,  // a line given to system()
    kPipe,     // a command whose output was read
    kSet,      // "1 KEY=VALUE": a setting written at once
    kBufset,   // "1 KEY=VALUE": a setting buffered
    kCommit,   // "1": what was buffered for a space committed
    kConsole,  // a trace on /dev/console
    kPrinted,  // text on standard output
    kError,    // text on standard error
    kFile,     // a path opened for writing
    kRemoved,  // a path removed
    kTimer,    // the interval timer armed or stopped
    kSleep,    // time slept
    kSignal,   // a signal sent to another process
    kRequest,  // a driver request that changes something, in the words of its part
  };
  Kind kind;
  std::string text;
  long long at;             // milliseconds of simulated time since the device was made
  bool by_handler = false;  // done in a signal handler
};

using Settings = std::vector<std::pair<std::string, std::string>>;

class Device {
 public:
  Device();
  Device(const Device &) = delete;
  Device &operator=(const Device &) = delete;
  ~Device();
  static Device *current();

  // Told of every setting that a device is given.
  using OnSetting = void (*)(int space, const std::string &key);
  static inline OnSetting on_setting = nullptr;

  // ---- set-up: what the library finds ----
  Device &settings(const Settings &values, int space = 1);
  Device &setting(int space, const std::string &key, const std::string &value);
  // What the library's process has buffered over them and not committed.
  Device &buffered(const Settings &values, int space = 1);
  Device &remove(const std::string &key, int space = 1);
  // What every setting holds that was given no value of its own.
  Device &everySetting(const std::string &value) { return every_setting_ = value, *this; }
  Interface &interface(const std::string &name) { return interfaces_[name]; }
  // A file of the device, by its path there.
  Device &file(const std::string &path, const std::string &content);
  Device &removeFile(const std::string &path);
  // Opening `path` fails, for reading and writing.
  Device &refuse(const std::string &path);
  // What a command that contains `part` prints, to whoever reads its output.
  // Later answers go before earlier ones.
  Device &answer(const std::string &part, const std::string &output);
  // Commands that contain `part` cannot be started for reading.
  Device &unstartable(const std::string &part);
  Device &withoutConsole();
  Device &withoutSockets();
  Device &memoryRunsOut(bool out = true);
  // Files that are not in the device's own folder are looked up in this one,
  // which is never written to.
  Device &lowerRoot(const std::string &folder);
  Clock &clock() { return clock_; }
  const Clock &clock() const { return clock_; }
  // Seconds since the device was started, apart from the time simulated here.
  Device &uptime(long long seconds) { return uptime_ = seconds, *this; }
  // Lets simulated time pass and runs the SIGALRM handler whenever it is due.
  void advance(long long milliseconds);
  // Called in place of exit(); must not return.
  Device &onExit(std::function<void(int)> handler);
  // A piece of hardware with state of its own, made when first asked for.
  template <typename P>
  P &part();

  // ---- for whoever makes many calls on one ----
  // What it is now, but for its settings, is what it starts over from.
  void keep();
  // Is the current one, without settings and with nothing recorded, until it rests. False when
  // what has been done to it since cannot be undone: then another is to be made.
  bool startOver();
  void rest();

  // ---- what came of it ----
  // The command lines in order, without the redirection that the runners
  // append; a background command ends in " &".
  std::vector<std::string> commands() const;
  // The lines exactly as they were given to system().
  std::vector<std::string> shellLines() const { return texts(Event::kCommand); }
  // The commands whose output was read, in order.
  std::vector<std::string> pipes() const { return texts(Event::kPipe); }
  // "set 1 KEY=VALUE", "bufset 1 KEY=VALUE" and "commit 1", in order.
  std::vector<std::string> writes() const;
  std::vector<std::string> requests() const { return texts(Event::kRequest); }
  std::string printed() const { return joined(Event::kPrinted); }
  std::string errors() const { return joined(Event::kError); }
  std::string console() const { return joined(Event::kConsole); }
  const std::vector<Event> &events() const { return events_; }
  std::vector<Event> takeEvents() { return std::move(events_); }
  // Forgets what was recorded, not the state.
  void forget();
  // A file's content, nothing when there is none.
  std::optional<std::string> text(const std::string &path) const { return root_.content(path); }
  // A setting as it was last committed.
  std::optional<std::string> setting(const std::string &key, int space = 1) const;
  // Settings that were asked for and missing, in order of first asking.
  const std::vector<std::pair<int, std::string>> &missing() const { return missing_; }
  // All settings that were asked for.
  const std::set<std::pair<int, std::string>> &asked() const { return asked_; }
  // How many events there were when a setting was first asked for; none where it was asked for
  // before forget(), which does not forget that.
  using FirstAsked = std::map<std::pair<int, std::string>, size_t>;
  const FirstAsked &firstAsked() const { return first_asked_; }
  FirstAsked takeFirstAsked() { return std::move(first_asked_); }
  // Pipes that were opened and not closed.
  int openPipes() const { return open_pipes_; }

  // ---- the calls themselves (sim/calls.cpp, parts) ----
  void record(Event::Kind kind, std::string text);
  Root &root() { return root_; }
  const Root &root() const { return root_; }
  Faults &faults() { return faults_; }
  Held &held() { return held_; }
  int runLine(std::string line);
  // What `command` prints when it is run for its output; nothing when it
  // cannot be started.
  std::optional<std::string> outputOf(const std::string &command);
  std::optional<int> openDevice(const std::string &path);
  int request(int fd, unsigned long number, void *argument);
  char *get(int space, const char *key);
  char *bufget(int space, const char *key);
  int set(int space, const char *key, const char *value);
  int bufset(int space, const char *key, const char *value);
  int commit(int space);
  void pipeOpened() { open_pipes_++; }
  void pipeClosed() { open_pipes_--; }
  bool hasConsole() const { return console_; }
  bool hasSockets() const { return sockets_; }
  bool memoryIsOut() const { return memory_out_; }
  long long uptime() const { return uptime_ + clock_.elapsed() / 1000; }
  void exit(int status);

 private:
  // Each value in memory of its own that is given back when the value changes,
  // so that a sanitizer sees whoever still reads the old one.
  using Value = std::unique_ptr<char[]>;
  using Values = std::map<std::pair<int, std::string>, Value>;

  void put(Values &values, int space, const std::string &key, const std::string &value);
  void drop(Value value);
  bool ask(const std::pair<int, std::string> &name);
  std::vector<std::string> texts(Event::Kind kind) const;
  std::string joined(Event::Kind kind) const;
  void leaveTraces(const std::string &command);

  // What a device starts over from, but for what only its set-up changes.
  struct Kept {
    Clock clock;
    size_t parts;
    FirstAsked first_asked;
  };

  Device *previous_;
  Root root_;
  Clock clock_;
  Faults faults_;
  Held held_;
  Interfaces interfaces_;
  std::map<std::type_index, std::unique_ptr<Part>> parts_;
  Values committed_;
  Values buffered_;
  // What a signal handler replaced, which the store keeps readable.
  std::vector<Value> replaced_by_handler_;
  std::vector<std::pair<std::string, std::optional<std::string>>> answers_;
  std::vector<Event> events_;
  std::vector<std::pair<int, std::string>> missing_;
  std::set<std::pair<int, std::string>> asked_;
  FirstAsked first_asked_;
  std::function<void(int)> on_exit_;
  std::optional<Kept> kept_;
  bool part_answered_ = false;
  std::optional<std::string> every_setting_;
  long long uptime_ = 0;
  int open_pipes_ = 0;
  bool console_ = true;
  bool sockets_ = true;
  bool memory_out_ = false;
};

template <typename P>
P &Device::part() {
  std::unique_ptr<Part> &slot = parts_[typeid(P)];
  if (!slot) slot = std::make_unique<P>(*this);
  return static_cast<P &>(*slot);
}

// Takes the redirection off that the library's runners append.
std::string withoutRunnerRedirection(const std::string &line);

}  // namespace sim

#endif
