// Every call that can fail is made to fail, one after the other; what comes of it
// is held against what the public header promises.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/faults/promises.h"
#include "tests/faults/scene.h"

namespace {

using orba::tool::CallResult;
using orba::tool::EntryPoint;
using sim::Faults;

// What stands in an output buffer before a call, longer than any answer.
const std::string kBefore(12000, 'x');

// The row that is about an entry point.
const Promise &promiseOf(const std::string &entry) {
  static const Promise kNothingElse;
  for (const Promise &row : promises()) {
    if (row.entries.count(entry) != 0) return row;
  }
  return kNothingElse;
}

CallResult fetchRecord(const std::vector<std::string> &) {
  std::string before(sizeof global_shared_stuff, 'x');
  memcpy(&global_shared_stuff, before.data(), before.size());
  CallResult result{std::to_string(sync_globalVar_and_sharedMem(0)), {}};
  bool kept = memcmp(&global_shared_stuff, before.data(), before.size()) == 0;
  result.outputs = {kept ? kBefore : "fetched"};
  return result;
}

bool leaves(const std::string &output, const std::string &promised, bool begins_empty) {
  if (promised == kAsItWas) return output == (begins_empty ? "" : kBefore);
  return promised == kAnyText ? output.size() < kBefore.size() : output == promised;
}

const char *const kSpans[] = {"once", "from then on", "and all behind it"};

class Torture : public testing::Test {
 protected:
  void torture(const Scene &scene) {
    const Promise &promise = promiseOf(scene.entry.name);
    orba::tool::left_in_outputs = promise.begins_empty ? "" : kBefore;
    Take whole(scene);
    whole.run();
    const std::vector<std::string> calls = whole.calls();
    const std::string well = whole.result.returned;
    judge({scene, promise, {well}, "without a failure"}, whole);
    whole.run();
    const Names well_again = {well, whole.result.returned};
    calls_ += calls.size();
    size_t step = kLongRun ? 1 : std::max<size_t>(1, calls.size() / kCallsOfOrdinaryRun);
    for (size_t number = 1 + calls_ % step; number <= calls.size(); number += step) {
      const std::string &call = calls[number - 1];
      for (size_t way = 0; way < Faults::ways(call); way++) {
        for (Faults::Span span : {Faults::kOnce, Faults::kEverySuchCall, Faults::kEverything}) {
          if (span != Faults::kOnce && Faults::interrupts(call, way)) continue;
          if (span == Faults::kEverything && way != 0) continue;
          Take run(scene);
          run.device.faults().fail(number, span, way);
          run.run();
          std::string what = "call " + std::to_string(number) + ", " + call + ", fails " +
                             kSpans[span] + ", way " + std::to_string(way);
          judge({scene, promise, {well}, what, span, way == 0}, run);
          injections_++;
          // A semaphore that was not released is not there any more.
          if (run.exit_status || call == "semop") continue;
          run.device.faults().repair();
          run.run();
          judge({scene, promise, well_again, "again after " + what}, run);
        }
      }
    }
  }

  struct Case {
    const Scene &scene;
    const Promise &promise;
    Names well;  // what is answered when nothing fails
    std::string what;
    Faults::Span span = Faults::kOnce;
    bool fails = false;  // by an error, not by an interruption or half the work
  };

  // Whether the answer is one of these (none: as when nothing fails) and every
  // output as promised.
  static bool kept(const Case &now, const CallResult &result, const Names &answers,
                   const std::string &text) {
    const Names &expected = answers.empty() ? now.well : answers;
    return (now.promise.any_answer || expected.count(result.returned) != 0) &&
           std::all_of(result.outputs.begin(), result.outputs.end(),
                       [&](const std::string &output) {
                         return leaves(output, text, now.promise.begins_empty);
                       });
  }

  // What the run has done otherwise than was promised. Of several failures that
  // have happened any may be the one that is told.
  static std::string broken(const Case &now, Take &run) {
    const Promise &promise = now.promise;
    const Names &failed = run.device.faults().failed();
    bool must_tell = false, tells = false, may_tell = false;
    for (const Failure &failure : promise.failures) {
      bool happened = std::any_of(failure.of.begin(), failure.of.end(),
                                  [&](const std::string &call) { return failed.count(call) != 0; });
      bool told = failure.exits == run.exit_status &&
                  (failure.exits || kept(now, run.result, failure.answers, failure.leaves));
      if (happened && now.fails && !(failure.for_good && now.span == Faults::kOnce))
        must_tell = true;
      if (told) (happened ? tells : may_tell) = true;
    }
    if (!must_tell) tells = tells || may_tell;
    if (run.exit_status) return tells ? "" : " ends the process";
    bool well = kept(now, run.result, {}, kAnyText) || kept(now, run.result, {}, promise.may_leave);
    if (tells && !well && !promise.prints_on_failure && !run.device.printed().empty()) {
      return " prints " + run.device.printed();
    }
    if (tells || (well && !must_tell)) return "";
    std::string fault = " answers " + run.result.returned;
    for (const std::string &output : run.result.outputs)
      fault += ", '" + output.substr(0, 40) + "'";
    return fault;
  }

  void judge(const Case &now, Take &run) {
    sim::Device &device = run.device;
    std::string fault = run.trouble.empty() ? broken(now, run) : run.trouble;
    if (!run.exit_status) {
      std::string held = device.held().describe();
      if (!held.empty()) fault += " still holds " + held;
      if (device.openPipes() != 0) fault += " leaves a pipe open";
    }
    for (const std::string &line : device.shellLines()) {
      if (!std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; })) {
        fault += " runs " + line;
      }
    }
    // The names of routing tables that others have put there.
    if (now.scene.place.files &&
        device.text("/etc/iproute2/rt_tables").value_or("").find("255 local\n") != 0) {
      fault += " loses foreign lines";
    }
    if (fault.empty()) return;
    faults_[std::string(now.scene.entry.name) + ": " + fault] =
        now.scene.describe() + ", " + now.what;
  }

  std::map<std::string, std::string> faults_;  // where each was seen last
  size_t calls_ = 0;
  size_t injections_ = 0;
};

}  // namespace

TEST_F(Torture, EveryFailureIsSurvived) {
  const EntryPoint fetch{"", kFetch.c_str(), {}, "", false, fetchRecord};
  std::vector<Scene> scenes = everyScene();
  for (const Place &place : kPlaces) scenes.push_back({place, fetch, {}});
  for (const Scene &scene : scenes) torture(scene);
  Names called;
  for (const Scene &scene : scenes) called.insert(scene.entry.name);
  for (const Promise &row : promises()) {
    for (const std::string &name : row.entries) {
      if (called.erase(name) == 0) faults_[name + ": promised twice, or nothing to call"] = "";
    }
  }
  EXPECT_THAT(faults_, testing::IsEmpty());
  EXPECT_GT(injections_, 10000u);
  printf("%zu scenes, %zu calls, %zu injections\n", scenes.size(), calls_, injections_);
}
