#include "tools/rehearse/batch.h"

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

#include "tools/device/config.h"
#include "tools/rehearse/calls.h"
#include "tools/rehearse/crew.h"
#include "tools/show/report.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// A longer line is answered by an error.
constexpr size_t kMostOfLine = size_t{16} << 20;
constexpr long long kMostTicks = 864'000;  // a day

// Of what is nested deeper nobody makes a copy, nor prints it.
constexpr int kMostDepth = 100;

struct BadRequest : std::runtime_error {
  using std::runtime_error::runtime_error;
};

json requestIn(const std::string &line) {
  return json::parse(line, [](int depth, json::parse_event_t, json &) {
    if (depth > kMostDepth) throw BadRequest("a text that is nested deeper than 100 levels");
    return true;
  });
}

void addSettings(const json &values, int space, std::vector<nvram::Setting> &settings) {
  for (const auto &[key, value] : values.items()) {
    if (!value.is_string()) throw BadRequest("settings: the value of " + key + " is no text");
    if (!nvram::validKey(key)) throw BadRequest("settings: " + key + " is no key");
    const std::string text = value;
    if (text.find('\0') != std::string::npos) throw BadRequest("settings: a NUL in " + key);
    settings.push_back({space, key, text, 0});
  }
}

// Of the texts of a configuration, what is no setting is passed over, as a store does.
std::vector<nvram::Setting> settingsOf(const json &request) {
  std::vector<nvram::Setting> settings;
  if (request.contains("config")) {
    if (!request["config"].is_string()) throw BadRequest("config: a text is wanted");
    settings = understood(request["config"], "").settings;
  }
  if (!request.contains("settings")) return settings;
  const json &values = request["settings"];
  if (!values.is_object()) throw BadRequest("settings: an object is wanted");
  for (const auto &[space, those] : values.items()) {
    const bool is_space = space.size() == 1 && space[0] >= '0' + nvram::kFirstSpace &&
                          space[0] <= '0' + nvram::kLastSpace && those.is_object();
    if (!is_space) throw BadRequest("settings: \"1\": {...} is wanted, by space");
    addSettings(those, space[0] - '0', settings);
  }
  return settings;
}

// A call that a request asks for.
struct Wanted {
  std::string name;
  std::vector<std::string> words;
};

std::vector<Wanted> wantedIn(const json &request) {
  std::vector<Wanted> wanted;
  if (!request.contains("entries")) {
    for (const EntryCall &call : wordlessCalls()) wanted.push_back({call.text, {}});
    return wanted;
  }
  if (!request["entries"].is_array()) throw BadRequest("entries: a list is wanted");
  for (const json &each : request["entries"]) {
    if (each.is_string()) {
      wanted.push_back({each, {}});
    } else if (each.is_array() && !each.empty()) {
      std::vector<std::string> words = each;
      std::string name = words.front();
      words.erase(words.begin());
      wanted.push_back({std::move(name), std::move(words)});
    } else {
      throw BadRequest("entries: names are wanted, or lists of a name and its words");
    }
  }
  return wanted;
}

class Answers {
 public:
  explicit Answers(const Prepare &prepare) : calls_(prepare) {}

  // The line that answers the line of a request.
  std::string answer(const std::string &line, uint32_t part, const Deaths &deaths, Place &place) {
    ordered_json answer = {{"id", nullptr}};
    try {
      if (line.size() > kMostOfLine) throw BadRequest("a line of more than 16 MiB");
      const json request = requestIn(line);
      if (!request.is_object()) throw BadRequest("an object is wanted");
      if (request.contains("id")) answer["id"] = request["id"];
      add(answer, request, part, deaths, place);
    } catch (const json::exception &error) {
      answer["error"] = error.what();
    } catch (const BadRequest &error) {
      answer["error"] = error.what();
    }
    return lineOf(answer);
  }

 private:
  void add(ordered_json &answer, const json &request, uint32_t part, const Deaths &deaths,
           Place &place) {
    const std::vector<nvram::Setting> settings = settingsOf(request);
    const bool digests = request.value("digests", false);
    const json wanted_ticks = request.value("ticks", json(0));
    const bool whole = wanted_ticks.is_number_integer();
    const long long ticks = whole ? wanted_ticks.get<long long>() : -1;
    if (ticks < 0 || ticks > kMostTicks) throw BadRequest("ticks: 0 to 864000 are wanted");
    Asked asked(settings);
    ordered_json runs = ordered_json::array();
    uint32_t step = 0;
    for (const Wanted &each : wantedIn(request)) {
      ordered_json run = {{"entry", each.name}};
      if (!each.words.empty()) run["arguments"] = each.words;
      const auto died = deaths.find({part, step});
      if (died != deaths.end()) {
        run["died"] = died->second;
      } else {
        beginStep(place, part, step);
        try {
          const EntryCall *wordless = each.words.empty() ? wordlessCall(each.name) : nullptr;
          if (digests && wordless != nullptr && ticks == 0) {
            run["digest"] = digestText(calls_.digest(asked, *wordless));
          } else {
            const EntryPoint &entry = entryPointNamed(each.name);
            const Recording recording = calls_.record(settings, entry, each.words, ticks);
            if (!digests) run.update(planAsJson(recording, nullptr));
            run["digest"] = digestOf(recording);
          }
        } catch (const BadArgument &error) {
          run["error"] = error.what();
        }
      }
      runs.push_back(std::move(run));
      step++;
    }
    answer["runs"] = std::move(runs);
  }

  Calls calls_;
};

// Whole lines of standard input, as many as have come.
class LineReader {
 public:
  std::optional<std::string> next() {
    char part[65536];
    const ssize_t now = read(STDIN_FILENO, part, sizeof part);
    if (now < 0 && errno == EINTR) return "";
    if (now < 0) throw std::system_error(errno, std::generic_category(), "standard input");
    if (now == 0 && rest_.empty()) return std::nullopt;
    const std::string_view read_now(part, static_cast<size_t>(now));
    const size_t end = now == 0 ? 0 : read_now.rfind('\n');
    if (now > 0 && end == std::string_view::npos) {
      // Of a line that is too long the rest is of no use.
      if (rest_.size() <= kMostOfLine) rest_ += read_now;
      return "";
    }
    std::string lines = std::move(rest_);
    if (now == 0) {
      rest_.clear();
      return lines + "\n";
    }
    lines += read_now.substr(0, end + 1);
    rest_ = read_now.substr(end + 1);
    return lines;
  }

 private:
  std::string rest_;
};

}  // namespace

std::string lineOf(const nlohmann::ordered_json &value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void answerBatch(const Prepare &prepare, size_t jobs) {
  LineReader lines;
  std::unique_ptr<Answers> answers;  // of a worker
  haveDone(
      {[&] { return lines.next(); }, STDIN_FILENO}, jobs,
      [&](const std::string &task, const Deaths &deaths, Place &place) {
        if (!answers) answers = std::make_unique<Answers>(prepare);
        std::string all;
        uint32_t part = 0;
        for (const std::string &line : linesIn(task)) {
          all += answers->answer(line, part++, deaths, place);
        }
        return all;
      },
      [](const std::string &all) { std::cout << all << std::flush; });
}

}  // namespace orba::tool
