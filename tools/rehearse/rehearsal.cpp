#include "tools/rehearse/rehearsal.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <tuple>

#include "tools/device/config.h"
#include "tools/rehearse/groups.h"
#include "tools/rehearse/report.h"
#include "tools/rehearse/smallest.h"
#include "tools/rehearse/source.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"

namespace orba::tool {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using Config = std::vector<nvram::Setting>;

// Of a task.
constexpr size_t kMostConfigurations = 32, kMostBytes = 256 << 10;
// With those of other shards and those that are refused.
constexpr size_t kMostLookedAt = 1000;
// So many groups are looked into; of more only their kinds are told.
constexpr size_t kMostDetailed = 200;
constexpr std::chrono::seconds kBetweenStates{5};

uint64_t mixed(uint64_t hash, const std::string &text) {
  for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return (hash ^ 0xff) * 1099511628211u;
}

constexpr uint64_t kNoOrder = 14695981039346656037u;

uint64_t mixed(uint64_t hash, const Found &found) {
  return mixed(mixed(hash, found.id), std::to_string(std::hash<std::string>()(found.text)));
}

// Names what a program is made of: one that was built anew may say otherwise.
std::string digestOfProgram(const std::string &program) {
  std::ifstream file(program.empty() ? kThisProgram : program);
  std::ostringstream all;
  all << file.rdbuf();
  RawRecording named;
  named.result.returned = all.str();
  return digestOf(named);
}

Config sorted(Config settings) {
  std::sort(settings.begin(), settings.end(), [](const auto &one, const auto &other) {
    return std::tie(one.space, one.key) < std::tie(other.space, other.key);
  });
  return settings;
}

// ---- in a worker ----

// What comes of some configurations, which come behind a line of their names and sizes in bytes:
// for each the names of its changes, and the groups that whoever gathers them does not know yet, or
// not as well.
class Looker {
 public:
  Looker(const TwoSides &sides, const Prepare &prepare) : compared_(sides, prepare) {}

  std::string look(const std::string &task, const Deaths &deaths, Place &place) {
    json result = {{"seen", json::array()}, {"groups", json::object()}};
    uint32_t part = 0;
    const size_t head = task.find('\n');
    size_t at = head + 1;
    for (const json &each : json::parse(task.begin(), task.begin() + static_cast<long>(head))) {
      const size_t size = each[1];
      const std::string_view text(task.data() + at, size);
      at += size;
      result["seen"].push_back(look(each[0], text, part++, deaths, place, result["groups"]));
    }
    const std::vector<uint8_t> bytes = json::to_cbor(result);
    return {bytes.begin(), bytes.end()};
  }

 private:
  json look(const std::string &id, std::string_view text, uint32_t part, const Deaths &deaths,
            Place &place, json &groups) {
    std::vector<nvram::Damage> damages;
    const Config settings = sorted(nvram::parseSettings(text, &damages));
    if (settings.empty()) return {{"refused", "holds no settings"}};
    json names = json::array();
    std::optional<Example> example;
    for (const SideChange &change : compared_.changes(settings, part, deaths, place)) {
      const std::string name = nameOf(change);
      names.push_back(name);
      if (!example) example = {settings.size(), id, asciiConfig(settings)};
      Group group{change, *example};
      auto [known, unknown] = known_.try_emplace(name, group);
      const SideChange &all = known->second.change;
      const std::pair seen(all.entries.size(), all.opens);
      if (!unknown) known->second.add(group);
      const bool better = known->second.example.id == example->id;
      if (unknown || better || std::pair(all.entries.size(), all.opens) != seen) {
        groups[name] = asJson(known->second);
      }
    }
    return {{"names", names}, {"damaged", !damages.empty()}};
  }

  SidesCompared compared_;
  std::map<std::string, Group> known_;
};

// Looks into a group: its smallest settings, and what there is to show of it.
json lookInto(const json &task, SidesCompared &compared, const Deaths &deaths, Place &place) {
  const Group group = groupIn(task);
  const Config settings = understood(group.example.config, "").settings;
  uint32_t trial = 0;
  const Config smallest = smallestThatShows(settings, [&](const Config &some) {
    return compared.show(some, settings, group.change, trial++, deaths, place);
  });
  json details = {{"settings", json::array()}};
  for (const std::string &line : linesIn(asciiConfig(smallest))) {
    if (line != "[1]") details["settings"].push_back(line);
  }
  beginStep(place, trial, 0);
  if (deaths.count({trial, 0}) != 0) return details;
  SidesCompared::Witness witness;
  try {
    witness = compared.witness(smallest, settings, group.change);
  } catch (const Died &error) {
    witness.lines = {std::string(kDied) + error.what()};
  }
  details["entry"] = witness.entry;
  details["lines"] = json::array();
  for (const std::string &line : witness.lines) details["lines"].push_back(visible(line));
  details["traffic"] = json::array();
  for (const std::string &line : witness.traffic) details["traffic"].push_back(visible(line));
  details["opens"] = witness.opens;
  return details;
}

// ---- who gathers it ----

class Gatherer {
 public:
  Gatherer(const Rehearsal &rehearsal, const Prepare &prepare)
      : rehearsal_(rehearsal),
        prepare_(prepare),
        store_(rehearsal.folder),
        source_(rehearsal.configurations, rehearsal.folder) {}

  void gather();
  void merge(const std::vector<std::string> &shards);
  ordered_json report();

 private:
  struct Under {  // way
    std::vector<std::string> ids, refused;
    uint64_t taken, order;
  };

  json what() const;
  void goOnFrom(const json &what);
  std::optional<std::string> nextTask();
  void add(const std::string &result);
  void tellProgress();
  json details(const std::vector<const Group *> &groups);

  const Rehearsal &rehearsal_;
  const Prepare &prepare_;
  Store store_;
  Source source_;
  uint64_t taken_ = 0, order_ = kNoOrder;  // of the source, by now
  std::deque<Under> under_way_;
  using Clock = std::chrono::steady_clock;
  Clock::time_point begun_ = Clock::now(), written_ = begun_, told_ = begun_;
  double share_at_begin_ = 0;
  bool shown_ = false;
};

// Two rehearsals of the same can be put together.
json Gatherer::what() const {
  const TwoSides &sides = rehearsal_.sides;
  const auto version = [&](const std::string &program) {
    return program.empty() ? rehearsal_.own_version : versionOf(program);
  };
  json edits = json::array();
  for (const SettingEdit &edit : sides.edits) edits.push_back(visible(edit.text()));
  return {{"before", {{"program", sides.before}, {"version", version(sides.before)}}},
          {"after", {{"program", sides.after}, {"version", version(sides.after)}}},
          {"programs", {digestOfProgram(sides.before), digestOfProgram(sides.after)}},
          {"edits", edits},
          {"entries", sides.entries},
          {"traffic", sides.traffic}};
}

// The first configurations of the source are those that have been rehearsed already.
void Gatherer::goOnFrom(const json &what) {
  State &state = store_.state();
  if (!store_.found()) {
    state.what = what;
    state.shard = rehearsal_.shard;
    state.shards = rehearsal_.shards;
    return;
  }
  const bool same =
      state.what == what && state.shard == rehearsal_.shard && state.shards == rehearsal_.shards;
  if (!same) {
    throw BadArgument(rehearsal_.folder + ": holds another rehearsal; --out names another folder");
  }
  while (taken_ < state.taken) {
    const std::optional<Found> found = source_.next();
    if (!found) break;
    taken_++;
    order_ = mixed(order_, *found);
  }
  const bool more = state.done && source_.next();
  if (more || taken_ != state.taken || (taken_ > 0 && order_ != state.order)) {
    throw BadArgument(rehearsal_.folder +
                      ": holds a rehearsal of other configurations; --out names another folder");
  }
  share_at_begin_ = source_.share();
}

std::optional<std::string> Gatherer::nextTask() {
  json names = json::array();
  std::string texts;
  Under under{{}, {}, taken_, order_};
  size_t looked_at = 0;
  while (names.size() < kMostConfigurations && texts.size() < kMostBytes &&
         looked_at < kMostLookedAt) {
    std::optional<Found> found = source_.next();
    if (!found) break;
    looked_at++;
    under.taken = ++taken_;
    under.order = order_ = mixed(order_, *found);
    if (mixed(kNoOrder, found->id) % rehearsal_.shards != rehearsal_.shard - 1) continue;
    const std::string id = visible(found->id);
    if (!found->refused.empty()) {
      under.refused.push_back(id + ": " + found->refused);
      continue;
    }
    names.push_back({id, found->text.size()});
    texts += found->text;
    under.ids.push_back(id);
  }
  if (looked_at == 0) return std::nullopt;
  under_way_.push_back(std::move(under));
  return names.dump() + "\n" + texts;
}

void Gatherer::add(const std::string &result) {
  const json looked = json::from_cbor(result);
  State &state = store_.state();
  const Under under = std::move(under_way_.front());
  under_way_.pop_front();
  for (const auto &[name, group] : looked["groups"].items()) {
    state.groups[name].add(groupIn(group));
  }
  const auto refuse = [&](const std::string &line) {
    store_.list(kRefusedList, line);
    state.refused++;
  };
  for (const std::string &line : under.refused) refuse(line);
  for (size_t i = 0; i < under.ids.size(); i++) {
    const json &seen = looked["seen"][i];
    if (seen.contains("refused")) {
      refuse(under.ids[i] + ": " + std::string(seen["refused"]));
      continue;
    }
    state.configurations++;
    if (seen["damaged"]) {
      state.damaged++;
      store_.list(kDamagedList, under.ids[i]);
    }
    if (!seen["names"].empty()) state.changed++;
    for (const std::string name : seen["names"]) {
      state.groups[name].count++;
      store_.list(name, under.ids[i]);
    }
  }
  state.taken = under.taken;
  state.order = under.order;
  const auto now = Clock::now();
  if (now - written_ > kBetweenStates || !store_.found()) {
    store_.write();
    written_ = Clock::now();
  }
  tellProgress();
}

void Gatherer::tellProgress() {
  const auto now = Clock::now();
  if (!rehearsal_.progress || now - told_ < std::chrono::milliseconds(500)) return;
  told_ = now;
  const State &state = store_.state();
  const double share = source_.share();
  const double seconds = std::chrono::duration<double>(now - begun_).count();
  std::cerr << "\r" << state.configurations << " configurations, " << state.groups.size()
            << " groups";
  if (share > share_at_begin_) {
    const auto left = static_cast<long>(seconds * (1 - share) / (share - share_at_begin_));
    std::cerr << ", " << static_cast<int>(100 * share) << " %, " << left / 60 << " min "
              << left % 60 << " s left";
  }
  std::cerr << "\033[K" << std::flush;
  shown_ = true;
}

void Gatherer::gather() {
  goOnFrom(what());
  if (store_.state().done) return;
  std::unique_ptr<Looker> looker;  // of a worker
  haveDone(
      {[this] { return nextTask(); }}, rehearsal_.jobs,
      [&](const std::string &task, const Deaths &deaths, Place &place) {
        if (!looker) looker = std::make_unique<Looker>(rehearsal_.sides, prepare_);
        return looker->look(task, deaths, place);
      },
      [&](const std::string &result) { add(result); });
  if (shown_) std::cerr << "\r\033[K" << std::flush;
  store_.state().done = true;
  store_.write();
}

void Gatherer::merge(const std::vector<std::string> &shards) {
  if (store_.found()) throw BadArgument(rehearsal_.folder + ": holds a rehearsal already");
  const json what = this->what();
  State &state = store_.state();
  state.what = what;
  uint64_t all = 0, taken = 0;
  std::set<uint64_t> merged;
  for (const std::string &folder : shards) {
    std::error_code error;
    if (!std::filesystem::exists(folder + "/state.json", error)) {
      throw BadArgument(folder + ": holds no rehearsal");
    }
    Store shard(folder);
    if (!shard.state().done) throw BadArgument(folder + ": holds a rehearsal that is not done");
    const State &its = shard.state();
    if (its.what != what) throw BadArgument(folder + ": holds another rehearsal");
    if (merged.empty()) std::tie(all, taken) = std::tie(its.shards, its.taken);
    if (its.shards != all || its.taken != taken) {
      throw BadArgument(folder + ": is a shard of other configurations than " + shards[0]);
    }
    if (!merged.insert(its.shard).second) {
      throw BadArgument(folder + ": is shard " + std::to_string(its.shard) + " once more");
    }
    store_.merge(shard);
  }
  for (uint64_t shard = 1; shard <= all; shard++) {
    if (merged.count(shard) == 0) {
      throw BadArgument("shard " + std::to_string(shard) + "/" + std::to_string(all) +
                        " is missing");
    }
  }
  state.taken = taken;
  store_.state().done = true;
  store_.write();
}

json Gatherer::details(const std::vector<const Group *> &groups) {
  size_t next = 0;
  json all = json::array();
  std::unique_ptr<SidesCompared> compared;
  haveDone(
      {[&]() -> std::optional<std::string> {
        if (next == groups.size()) return std::nullopt;
        return asJson(*groups[next++]).dump();
      }},
      rehearsal_.jobs,
      [&](const std::string &task, const Deaths &deaths, Place &place) {
        if (!compared) compared = std::make_unique<SidesCompared>(rehearsal_.sides, prepare_);
        return lookInto(json::parse(task), *compared, deaths, place).dump();
      },
      [&](const std::string &result) { all.push_back(json::parse(result)); });
  return all;
}

ordered_json Gatherer::report() {
  const State &state = store_.state();
  std::vector<const Group *> groups;
  for (const auto &[name, group] : state.groups) groups.push_back(&group);
  const auto larger = [](const Group *one, const Group *other) {
    return std::tuple(!one->change.opens, one->change.traffic ? 0 : 1, other->count) <
           std::tuple(!other->change.opens, other->change.traffic ? 0 : 1, one->count);
  };
  std::stable_sort(groups.begin(), groups.end(), larger);
  std::vector<const Group *> looked_into = groups;
  if (looked_into.size() > kMostDetailed) looked_into.resize(kMostDetailed);
  const json more = details(looked_into);
  std::vector<ordered_json> told;
  for (size_t i = 0; i < groups.size(); i++) {
    const Group &group = *groups[i];
    ordered_json one = {{"opens", group.change.opens},
                        {"traffic", group.change.traffic},
                        {"count", group.count},
                        {"kinds", group.change.kinds},
                        {"entries", group.change.entries},
                        {"example", group.example.id},
                        {"name", nameOf(group.change)}};
    if (i < more.size()) {
      one["opens"] = group.change.opens || more[i].value("opens", false);
      one["settings"] = more[i]["settings"];
      one["witness"] = {{"entry", more[i].value("entry", "")},
                        {"lines", more[i].value("lines", json::array())},
                        {"traffic", more[i].value("traffic", json::array())}};
    }
    told.push_back(std::move(one));
  }
  std::stable_sort(told.begin(), told.end(), [](const auto &one, const auto &other) {
    return std::tuple(!one["opens"].template get<bool>(), other["count"].template get<uint64_t>()) <
           std::tuple(!other["opens"].template get<bool>(), one["count"].template get<uint64_t>());
  });
  ordered_json report = {{"form", 1},
                         {"before", state.what["before"]},
                         {"after", state.what["after"]},
                         {"edits", state.what["edits"]},
                         {"configurations", state.configurations},
                         {"changed", state.changed},
                         {"not_read", state.refused},
                         {"damaged", state.damaged},
                         {"groups", ordered_json::array()}};
  for (size_t i = 0; i < told.size(); i++) {
    const std::string list = "group-" + std::to_string(i + 1) + ".txt";
    store_.writeSorted(told[i]["name"], list);
    ordered_json one = {{"number", i + 1}, {"list", list}};
    one.update(told[i]);
    report["groups"].push_back(std::move(one));
  }
  if (state.refused != 0) store_.writeSorted(kRefusedList, std::string(kRefusedList) + ".txt");
  if (state.damaged != 0) store_.writeSorted(kDamagedList, std::string(kDamagedList) + ".txt");
  writeWhole(store_.path("report.json"), dumped(report) + "\n");
  writeWhole(store_.path("report.txt"), reportText(report));
  writeWhole(store_.path("report.html"), reportPage(report));
  return report;
}

}  // namespace

ordered_json rehearse(const Rehearsal &rehearsal, const Prepare &prepare) {
  Gatherer gatherer(rehearsal, prepare);
  gatherer.gather();
  if (rehearsal.shards > 1) return nullptr;
  return gatherer.report();
}

ordered_json mergeShards(const std::vector<std::string> &shards, const Rehearsal &rehearsal,
                         const Prepare &prepare) {
  Gatherer gatherer(rehearsal, prepare);
  gatherer.merge(shards);
  return gatherer.report();
}

}  // namespace orba::tool
