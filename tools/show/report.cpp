#include "tools/show/report.h"
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "sim/packet_filter.h"
#include "tools/play/event_words.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using sim::Event;

std::string settingName(const std::pair<int, std::string> &name) {
  return name.first == 1 ? name.second
                         : name.second + " (space " + std::to_string(name.first) + ")";
}

// In the order in which they were first written.
std::vector<std::string> filesWritten(const Recording &run) {
  std::vector<std::string> paths;
  for (const Event &event : run.events) {
    if (event.kind != Event::kFile || !run.files.contains(event.text)) continue;
    if (std::find(paths.begin(), paths.end(), event.text) == paths.end()) {
      paths.push_back(event.text);
    }
  }
  return paths;
}

void printOrigins(std::ostream &out, const CommandOrigins &origins, const char *indent) {
  std::string made_from, because;
  for (const Origin &origin : origins) {
    std::string &list = origin.role == Origin::kBecause ? because : made_from;
    list += (list.empty() ? "" : "; ") + visible(nameOf(origin));
  }
  if (!made_from.empty()) out << indent << "from " << made_from << "\n";
  if (!because.empty()) out << indent << "because of " << because << "\n";
}

// Of a line with commands that do not all come from the same, each command before its own.
void printOrigins(std::ostream &out, const std::string &line,
                  const std::vector<CommandOrigins> &origins) {
  const char *indent = "        ";
  bool alike = std::equal(origins.begin() + 1, origins.end(), origins.begin());
  if (alike) return printOrigins(out, origins.front(), indent);
  const std::vector<std::string> commands = commandsOf(line);
  for (size_t i = 0; i < commands.size(); i++) {
    out << indent << i + 1 << ": " << visible(commands[i]) << "\n";
    printOrigins(out, origins[i], "           ");
  }
}

nlohmann::ordered_json originsAsJson(const CommandOrigins &origins) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Origin &origin : origins) {
    json.push_back({{"role", roleName(origin.role)},
                    {"space", origin.space},
                    {"key", origin.key},
                    {"record", origin.record}});
  }
  return json;
}

// Those of the line: of its commands together, each once, and of each where there are several.
nlohmann::ordered_json originsAsJson(const std::string &line,
                                     const std::vector<CommandOrigins> &origins) {
  if (origins.size() == 1) return {{"origins", originsAsJson(origins.front())}};
  CommandOrigins together;
  nlohmann::ordered_json commands = nlohmann::ordered_json::array();
  const std::vector<std::string> texts = commandsOf(line);
  for (size_t i = 0; i < texts.size(); i++) {
    commands.push_back({{"text", texts[i]}, {"origins", originsAsJson(origins[i])}});
    for (const Origin &origin : origins[i]) {
      bool known = std::find(together.begin(), together.end(), origin) != together.end();
      if (!known) together.push_back(origin);
    }
  }
  std::stable_sort(together.begin(), together.end(),
                   [](const Origin &a, const Origin &b) { return a.role < b.role; });
  return {{"origins", originsAsJson(together)}, {"commands", commands}};
}

}  // namespace

void printAnswer(std::ostream &out, const Call &call) {
  if (!call.result.returned.empty()) out << ", returns " << visible(call.result.returned);
  out << "\n";
  for (const std::string &output : call.result.outputs)
    out << "answer: " << forReader(output) << "\n";
}

nlohmann::ordered_json answerAsJson(const Call &call) {
  return {{"entry", call.entry},
          {"arguments", call.words},
          {"returned", call.result.returned},
          {"outputs", call.result.outputs}};
}

void printPlan(std::ostream &out, const Recording &run, const Origins *origins) {
  size_t number = 0;
  bool timed = run.milliseconds > 0;
  for (const Event &event : run.events) {
    if (timed) out << std::setw(8) << event.at << " ms ";
    if (event.kind == Event::kCommand) {
      const std::string &line = run.commands[number++];
      out << std::setw(4) << number << "  " << visible(line) << "\n";
      if (origins != nullptr) printOrigins(out, line, origins->at(number - 1));
    } else {
      out << "      -- " << visible(inWords(event)) << "\n";
    }
  }
  out << "\n" << run.entry << ": " << number << (number == 1 ? " command" : " commands");
  printAnswer(out, run);
  for (const std::string &path : filesWritten(run)) {
    const std::string &content = run.files.at(path);
    out << visible(path) << ":\n"
        << forReader(content) << (content.empty() || content.back() == '\n' ? "" : "\n");
  }
  if (!run.missing.empty()) {
    out << "settings asked for and missing:";
    for (const auto &name : run.missing) out << " " << visible(settingName(name));
    out << "\n";
  }
}

nlohmann::ordered_json tablesAsJson(const Recording &run, RuleWords words) {
  sim::PacketFilter filter;
  for (const Event &event : run.events) {
    if (event.kind == Event::kCommand || event.kind == Event::kPipe) filter.run(event.text);
  }
  nlohmann::ordered_json json;
  for (const auto &[program, tables] : filter.programs()) {
    for (const auto &[table, chains] : tables) {
      for (const auto &[name, chain] : chains) {
        nlohmann::ordered_json rules = nlohmann::ordered_json::array();
        for (const sim::PacketFilter::Rule &rule : chain.rules) {
          if (words == nullptr) {
            rules.push_back(rule.text);
          } else {
            rules.push_back({{"text", rule.text}, {"words", words(rule.text)}});
          }
        }
        json[program][table][name] = {{"policy", chain.policy}, {"rules", rules}};
      }
    }
  }
  return json;
}

void printTables(std::ostream &out, const Recording &run, RuleWords words) {
  sim::PacketFilter filter;
  std::vector<std::string> routing;
  for (const Event &event : run.events) {
    if (event.kind != Event::kCommand && event.kind != Event::kPipe) continue;
    filter.run(event.text);
    for (const char *program : {"ip ", "route "}) {
      if (event.text.rfind(program, 0) == 0) {
        routing.push_back(sim::withoutRunnerRedirection(event.text));
      }
    }
  }
  std::ostringstream chains;
  filter.print(chains, words);
  out << forReader(chains.str());
  if (!routing.empty()) out << "routing\n";
  for (const std::string &command : routing) out << "  " << visible(command) << "\n";
}

void printRaw(std::ostream &out, const Recording &run) {
  for (const Event &event : run.events) {
    if (event.kind == Event::kCommand) out << forReader(event.text) << "\n";
  }
}

nlohmann::ordered_json planAsJson(const Recording &run, const Origins *origins) {
  nlohmann::ordered_json plan = answerAsJson(run);
  plan["events"] = nlohmann::ordered_json::array();
  size_t number = 0;
  for (const Event &event : run.events) {
    plan["events"].push_back(
        {{"kind", nameOf(event.kind)}, {"text", event.text}, {"ms", event.at}});
    if (event.kind == Event::kCommand && origins != nullptr) {
      plan["events"].back().update(originsAsJson(run.commands[number], origins->at(number)));
      number++;
    }
  }
  plan["files"] = nlohmann::ordered_json::object();
  for (const std::string &path : filesWritten(run)) plan["files"][path] = run.files.at(path);
  plan["missing"] = nlohmann::ordered_json::array();
  for (const auto &[space, key] : run.missing) {
    plan["missing"].push_back({{"space", space}, {"key", key}});
  }
  return plan;
}

}  // namespace orba::tool
