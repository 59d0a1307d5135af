#include "tools/rehearse/comparison.h"

#include <algorithm>
#include <optional>

#include "tools/play/difference.h"
#include "tools/rehearse/kinds.h"
#include "tools/text/lines.h"
#include "tools/traffic/change.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/question.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

namespace {

using Config = std::vector<nvram::Setting>;

// The steps of a part that are no call of this program: another one is asked, or packets looked at.
constexpr uint32_t kOtherStep = 1'000'000;

constexpr size_t kMostLines = 12;

// Stands for all entry points where a program ends that was to call them.
constexpr char kBatch[] = "plan --batch";

std::string deathKind(const std::string &digest) {
  return digest.substr(sizeof kDied - 1);
}

bool died(const std::string &digest) {
  return digest.starts_with(kDied);
}

// Of runs whose lines are all the same: what differs is in which order those of several kinds come,
// how a line ends, or bytes that are no text.
constexpr char kOtherForm[] = "~ the same lines in another order or form";
constexpr char kNotAnswered[] = "~ a side does not answer";

// Of a call of this program.
struct Outcome {
  uint64_t digest;
  std::string death;  // "died: Aborted"; empty for none

  std::string text() const { return death.empty() ? digestText(digest) : death; }
};

}  // namespace

struct SidesCompared::Both {
  const Config &before;
  Config after;
  uint32_t part;
  const Config &example;  // whose words are generalised
  Asked asked_before, asked_after;
  bool makes_router = false;  // of what makes a router something differs
  std::optional<OwnWords> own_words = {};

  // Most configurations have no change that needs them.
  const OwnWords &words() {
    if (!own_words) own_words.emplace(example);
    return *own_words;
  }
};

SidesCompared::SidesCompared(const TwoSides &sides, const Prepare &prepare)
    : sides_(sides), prepare_(prepare), calls_(prepare) {
  if (!sides_.before.empty() || !sides_.after.empty()) {
    const auto path = [](const std::string &side) { return side.empty() ? kThisProgram : side; };
    before_ = programVersion(path(sides_.before), sides_.entries);
    after_ = programVersion(path(sides_.after), sides_.entries);
  }
  for (const std::string &text : sides_.entries) entries_.push_back(entryCall(text));
  if (entries_.empty()) entries_ = wordlessCalls();
}

// Adds what two digests of an entry point say; `kindsOfRuns` is asked where both are of runs.
template <typename KindsOfRuns>
static void addKinds(const std::string &entry, const std::string &before, const std::string &after,
                     const KindsOfRuns &kindsOfRuns,
                     std::map<std::string, std::set<std::string>> &kinds) {
  if (before == after && !died(before)) return;
  if (died(before) && died(after)) {
    kinds["~ dies on both sides: " + deathKind(after)].insert(entry);
  } else if (died(after)) {
    kinds["+ dies: " + deathKind(after)].insert(entry);
  } else if (died(before)) {
    kinds["- dies: " + deathKind(before)].insert(entry);
  } else {
    for (const std::string &kind : kindsOfRuns()) kinds[kind].insert(entry);
  }
}

void SidesCompared::compareOwn(Both &both, const Deaths &deaths, Place &place, Kinds &kinds) {
  uint32_t step = 0;
  const auto outcome = [&](Asked &asked, const EntryCall &call) -> Outcome {
    const std::pair at(both.part, step++);
    const auto death = deaths.find(at);
    if (death != deaths.end()) return {0, kDied + death->second};
    beginStep(place, at.first, at.second);
    return {calls_.digest(asked, call), ""};
  };
  for (const EntryCall &call : entries_) {
    const Outcome before = outcome(both.asked_before, call);
    const Outcome after = outcome(both.asked_after, call);
    if (before.digest == after.digest && before.death.empty() && after.death.empty()) continue;
    if (isOfStart(call.text)) both.makes_router = true;
    const auto kindsOfRuns = [&] {
      const Recording was = calls_.recording(both.asked_before, call, before.digest);
      const Recording &is = calls_.recording(both.asked_after, call, after.digest);
      std::set<std::string> found = kindsOf(was, is, both.words());
      if (found.empty()) found.insert(kOtherForm);
      return found;
    };
    addKinds(call.text, before.text(), after.text(), kindsOfRuns, kinds);
  }
}

void SidesCompared::comparePrograms(Both &both, const Deaths &deaths, Place &place, Kinds &kinds) {
  if (const auto death = deaths.find({both.part, kOtherStep}); death != deaths.end()) {
    kinds["~ a side has no answer within a minute: " + death->second].insert(kBatch);
    return;
  }
  beginStep(place, both.part, kOtherStep);
  const auto digests = [&](Version &version, const Config &config) -> Version::Digests {
    try {
      return version.digests(config);
    } catch (const Died &error) {
      return {{kBatch, kDied + std::string(error.what())}};
    }
  };
  Version::Digests before = digests(*before_, both.before);
  Version::Digests after = digests(*after_, both.after);
  if (before.count(kBatch) != after.count(kBatch)) {
    before.try_emplace(kBatch);
    after.try_emplace(kBatch);
  }
  bool compared = false;
  for (const auto &[entry, was] : before) {
    const auto is = after.find(entry);
    if (is == after.end()) continue;
    compared = true;
    if (was == is->second && !died(was)) continue;
    if (isOfStart(entry)) both.makes_router = true;
    const auto kindsOfRuns = [&, &name = entry] { return kindsOfPrograms(both, name); };
    addKinds(entry, was, is->second, kindsOfRuns, kinds);
  }
  if (before.count(kBatch) != 0) return;
  // What nobody has compared is not the same.
  if (!compared) kinds[kNotAnswered].insert(kBatch);
  for (const std::string &entry : sides_.entries) {
    if (before.count(entry) + after.count(entry) == 1) kinds[kNotAnswered].insert(entry);
  }
}

std::set<std::string> SidesCompared::kindsOfPrograms(Both &both, const std::string &entry) try {
  const Recording was = before_->record(both.before, entry);
  const Recording is = after_->record(both.after, entry);
  std::set<std::string> kinds = kindsOf(was, is, both.words());
  const bool exact = before_->isExact() && after_->isExact();
  if (kinds.empty() && (exact || digestOf(was) != digestOf(is))) kinds.insert(kOtherForm);
  return kinds;
} catch (const Died &error) {
  return {"~ dies when it is asked again: " + std::string(error.what())};
}

Recording SidesCompared::run(Both &both, bool after, const std::string &entry) {
  const Config &config = after ? both.after : both.before;
  const EntryCall call = entryCall(entry);
  Recording run = before_ ? (after ? after_ : before_)->record(config, entry)
                          : calls_.record(config, *call.entry, call.words);
  run.config = config;
  return run;
}

void SidesCompared::addTraffic(Both &both, std::vector<SideChange> &changes) {
  const auto router = [&](bool after) {
    return deskRouter(after ? both.after : both.before, prepare_,
                      [&](const std::string &entry) { return run(both, after, entry); });
  };
  const DeskRouter before = router(false), after = router(true);
  const TrafficChanges found = trafficChanges(before, after, prepare_, Causes::kLeftOut);
  // Each kind by itself: they are few, and each has its own configurations.
  std::map<std::string, bool> kinds;
  for (const TrafficChange *each : toldChanges(found)) {
    kinds[both.words().generalised(trafficChangeText(*each, after))] |= opensToInternet(*each);
  }
  if (found.more != 0) kinds["~ more kinds of traffic than are told"] |= false;
  for (const auto &[kind, opens] : kinds) changes.push_back({true, opens, {kind}, {}});
}

std::vector<SideChange> SidesCompared::changes(const Config &settings, uint32_t part,
                                               const Deaths &deaths, Place &place) {
  return changes(settings, settings, part, deaths, place);
}

std::vector<SideChange> SidesCompared::changes(const Config &settings, const Config &example,
                                               uint32_t part, const Deaths &deaths, Place &place) {
  Both both{settings,         edited(settings, sides_.edits), part, example, Asked(settings),
            Asked(both.after)};
  Kinds kinds;
  if (before_) {
    comparePrograms(both, deaths, place, kinds);
  } else {
    compareOwn(both, deaths, place, kinds);
  }
  std::map<std::set<std::string>, std::set<std::string>> by_entries;
  for (auto &[kind, entries] : kinds) by_entries[entries].insert(kind);
  std::vector<SideChange> changes;
  for (auto &[entries, those] : by_entries) {
    changes.push_back({false, false, std::move(those), entries});
  }
  if (sides_.traffic && (both.makes_router || !sides_.edits.empty())) {
    const auto death = deaths.find({part, kOtherStep + 1});
    beginStep(place, part, kOtherStep + 1);
    const auto untold = [&](const std::string &why) {
      changes.push_back({true, false, {"~ traffic is not known: " + why}, {}});
    };
    try {
      death != deaths.end() ? untold(death->second) : addTraffic(both, changes);
    } catch (const Died &error) {
      untold(error.what());
    }
  }
  return changes;
}

bool SidesCompared::show(const Config &some, const Config &example, const SideChange &change,
                         uint32_t part, const Deaths &deaths, Place &place) {
  std::set<std::string> seen;
  for (const SideChange &each : changes(some, example, part, deaths, place)) {
    if (each.traffic == change.traffic) seen.insert(each.kinds.begin(), each.kinds.end());
  }
  return std::includes(seen.begin(), seen.end(), change.kinds.begin(), change.kinds.end());
}

SidesCompared::Witness SidesCompared::witness(const Config &some, const Config &example,
                                              const SideChange &change) {
  Both both{some, edited(some, sides_.edits), 0, example, Asked(some), Asked(both.after)};
  Witness witness;
  // The entry point that does the least besides, by its number of commands.
  size_t least = SIZE_MAX;
  for (const std::string &entry : change.entries) {
    if (entry == kBatch) return {entry, {change.kinds.begin(), change.kinds.end()}, {}, false};
    try {
      const Recording before = run(both, false, entry), after = run(both, true, entry);
      if (before.events.size() + after.events.size() >= least) continue;
      least = before.events.size() + after.events.size();
      witness.entry = entry;
      witness.lines.clear();
      const Difference difference = differenceOf(before, after);
      const auto add = [&](const Edits &edits, const std::string &heading) {
        for (const Edit &edit : edits) {
          if (edit.kind == Edit::kKept || witness.lines.size() >= kMostLines) continue;
          const std::string kind = both.words().generalised(heading + edit.text);
          const std::string sign = edit.kind == Edit::kAdded ? "+ " : "- ";
          const bool told = change.kinds.count(sign + kind) + change.kinds.count("~ " + kind) != 0;
          if (told) witness.lines.push_back(sign + heading + edit.text);
        }
      };
      add(difference.commands, "");
      add(difference.writes, "");
      for (const FileDifference &file : difference.files) add(file.lines, file.path + ": ");
      add(difference.others, "");
    } catch (const Died &error) {
      witness.entry = entry;
      witness.lines = {std::string(kDied) + error.what()};
      return witness;
    }
  }
  const bool makes_router =
      change.traffic || std::any_of(change.entries.begin(), change.entries.end(), isOfStart);
  if (!makes_router) return witness;
  const auto router = [&](bool after) {
    return deskRouter(after ? both.after : both.before, prepare_,
                      [&](const std::string &entry) { return run(both, after, entry); });
  };
  const DeskRouter before = router(false), after = router(true);
  const TrafficChanges found = trafficChanges(before, after, prepare_, Causes::kLeftOut);
  for (const TrafficChange *each : toldChanges(found)) {
    const std::string text = trafficChangeText(*each, after);
    if (change.traffic && change.kinds.count(both.words().generalised(text)) == 0) continue;
    witness.opens |= opensToInternet(*each);
    if (witness.traffic.size() >= kMostLines) continue;
    witness.traffic.push_back(text);
    witness.traffic.push_back("  such as " + sentText(each->witness, macOfNoRule(after.router)));
  }
  return witness;
}

}  // namespace orba::tool
