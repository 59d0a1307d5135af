// The signal that drives the WPS monitors arrives in the midst of other work.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <set>

#include "tests/faults/scene.h"

namespace {

using Names = std::set<std::string>;

struct Handler {
  const char *name;
  void (*run)(int);
};

constexpr Handler kHandlers[] = {{"the access point's monitor", WPSAPTimerHandler},
                                 {"the client's monitor", WPSAPCliTimerHandler},
                                 {"the single trigger", WPSSingleTriggerHandler},
                                 {"the LEDs' switch-off", [](int) { setLedOff(); }}};

// These deal with what a monitor changes at the end of a run: results and states
// of WPS, and the settings that it receives.
const Names kShareWithMonitors = {"WPSAPTimerHandler",   "WPSAPCliTimerHandler", "setWscResult",
                                  "getWscResult",        "getWscResultOrba",     "orbaQoSSSID",
                                  "updateWpsStatusFlag", "backupRecoverSettings"};

bool alarmIsBlocked() {
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, SIGALRM) != 0;
}

// What the entry point answered and did, without what the handler did.
std::vector<std::string> ownStory(const Take &run) {
  std::vector<std::string> story = {"answers " + run.result.returned};
  for (const std::string &output : run.result.outputs) story.push_back("writes " + output);
  for (const sim::Event &event : run.device.events()) {
    if (!event.by_handler) story.push_back(std::to_string(event.kind) + " " + event.text);
  }
  return story;
}

// The call with the handler armed and not due: it runs only at call `number`, or
// as soon as the signal is not blocked.
class Interrupted : public Take {
 public:
  Interrupted(const Scene &scene, const Handler &handler) : Take(scene) {
    setFullTimer(3600, 0, handler.run);
    device.forget();
  }

  void at(size_t number) {
    first_ = device.faults().calls().size() + number;
    device.faults().before([this](size_t call) {
      if (delivered || call < first_ || alarmIsBlocked()) return;
      delivered = true;
      constexpr int kUnlikely = 4711;
      int before = errno;
      errno = kUnlikely;
      device.clock().expire();
      if (errno != kUnlikely) trouble = "errno is changed";
      errno = before;
    });
    run();
  }

  bool delivered = false;

 private:
  size_t first_ = 0;
};

}  // namespace

TEST(Signals, DisturbNobody) {
  std::map<std::string, std::string> faults;
  size_t delivered = 0, turn = 0;
  for (const Scene &scene : everyScene()) {
    turn = (turn + 1) % std::size(kHandlers);
    bool shares = kShareWithMonitors.count(scene.entry.name) != 0;
    bool all = kLongRun || shares;
    for (const Handler &handler : kHandlers) {
      if (!all && &handler != &kHandlers[turn]) continue;
      Interrupted(scene, handler).run();  // what a process remembers is the same from here on
      Interrupted whole(scene, handler);
      whole.run();
      size_t calls = whole.calls().size();
      size_t step = all ? 1 : std::max<size_t>(1, calls / kCallsOfOrdinaryRun);
      for (size_t number = 1 + delivered % step; number <= calls; number += step) {
        Interrupted run(scene, handler);
        run.at(number);
        delivered += run.delivered ? 1 : 0;
        std::string fault = run.trouble;
        if (run.exit_status) fault += " ends the process";
        if (std::string held = run.device.held().describe(); !held.empty())
          fault += " holds " + held;
        if (!shares && ownStory(run) != ownStory(whole)) {
          fault += testing::PrintToString(ownStory(run)) + " in place of " +
                   testing::PrintToString(ownStory(whole));
        }
        if (fault.empty()) continue;
        faults[std::string(scene.entry.name) + " and " + handler.name] =
            scene.describe() + ", at call " + std::to_string(number) + ", " +
            whole.calls()[number - 1] + ": " + fault;
      }
    }
  }
  EXPECT_THAT(faults, testing::IsEmpty());
  EXPECT_GT(delivered, 3000u);
  printf("%zu signals delivered\n", delivered);
}
