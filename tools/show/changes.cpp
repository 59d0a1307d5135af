#include "tools/show/changes.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/text/lines.h"

namespace orba::tool {

namespace {

struct Mark {
  const char *sign;
  const char *colour;
  const char *in_json;
};

Mark markOf(Edit::Kind kind) {
  switch (kind) {
    case Edit::kAdded:
      return {"+", "\033[32m", "added"};
    case Edit::kRemoved:
      return {"-", "\033[31m", "removed"};
    case Edit::kMoved:
      return {"~", "\033[33m", "moved"};
    case Edit::kKept:
      break;
  }
  return {" ", "", "kept"};
}

constexpr char kHeading[] = "\033[1m", kPlain[] = "\033[0m";

class Printer {
 public:
  Printer(std::ostream &out, bool coloured) : out_(out), coloured_(coloured) {}

  void heading(const std::string &text) { line(kHeading, (begun_ ? "\n" : "") + text); }

  // What changes, with `around` lines of what does not on both sides.
  void edits(const Edits &edits, size_t around) {
    if (!changes(edits)) return;
    size_t shown = 0;  // edits before this one are told or passed over
    for (size_t i = 0; i < edits.size(); i++) {
      if (edits[i].kind == Edit::kKept) continue;
      size_t begin = std::max(shown, i - std::min(i, around));
      if (begin > shown) line("", "       ...");
      for (; begin < i; begin++) edit(edits[begin]);
      for (shown = i; shown < edits.size() && shown <= i + around; shown++) {
        if (edits[shown].kind != Edit::kKept) i = shown;
        edit(edits[shown]);
      }
    }
    if (shown < edits.size()) line("", "       ...");
  }

 private:
  void line(const char *colour, const std::string &text) {
    begun_ = true;
    bool paint = coloured_ && *colour != '\0';
    out_ << (paint ? colour : "") << text << (paint ? kPlain : "") << "\n";
  }

  void edit(const Edit &edit) {
    std::string number = std::to_string(edit.after != 0 ? edit.after : edit.before);
    std::string text = markOf(edit.kind).sign;
    text += std::string(5 - std::min<size_t>(5, number.size()), ' ') + number + "  ";
    text += visible(edit.text);
    if (edit.kind == Edit::kMoved) text += "  (was " + std::to_string(edit.before) + ")";
    line(markOf(edit.kind).colour, text);
  }

  std::ostream &out_;
  bool coloured_;
  bool begun_ = false;
};

std::string headingOf(const ChainDifference &chain) {
  std::string text = chain.program + " " + chain.table + " " + visible(chain.chain);
  if (!chain.was) return text + " (new)";
  if (!chain.is) return text + " (gone)";
  if (chain.policy_before != chain.policy_after) {
    auto orNone = [](const std::string &policy) { return policy.empty() ? "none" : policy; };
    text += " (policy " + orNone(chain.policy_before) + ", now " + orNone(chain.policy_after) + ")";
  }
  return text;
}

nlohmann::ordered_json asJson(const Edits &edits) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Edit &edit : edits) {
    if (edit.kind == Edit::kKept) continue;
    nlohmann::ordered_json one = {{"change", markOf(edit.kind).in_json}, {"text", edit.text}};
    if (edit.before != 0) one["before"] = edit.before;
    if (edit.after != 0) one["after"] = edit.after;
    json.push_back(std::move(one));
  }
  return json;
}

}  // namespace

void printDifference(std::ostream &out, const Difference &difference, bool coloured) {
  Printer printer(out, coloured);
  if (changes(difference.commands)) {
    printer.heading("commands");
    printer.edits(difference.commands, 2);
  }
  for (const ChainDifference &chain : difference.chains) {
    printer.heading(headingOf(chain));
    printer.edits(chain.rules, 1);
  }
  if (changes(difference.writes)) {
    printer.heading("settings");
    printer.edits(difference.writes, 1);
  }
  for (const FileDifference &file : difference.files) {
    printer.heading(visible(file.path));
    printer.edits(file.lines, 2);
  }
  if (changes(difference.others)) {
    printer.heading("besides");
    printer.edits(difference.others, 1);
  }
}

nlohmann::ordered_json differenceAsJson(const Difference &difference) {
  nlohmann::ordered_json json = {{"commands", asJson(difference.commands)},
                                 {"chains", nlohmann::ordered_json::array()},
                                 {"settings", asJson(difference.writes)},
                                 {"files", nlohmann::ordered_json::object()},
                                 {"besides", asJson(difference.others)}};
  for (const ChainDifference &chain : difference.chains) {
    nlohmann::ordered_json one = {
        {"program", chain.program}, {"table", chain.table}, {"chain", chain.chain}};
    if (chain.was != chain.is) one["change"] = chain.is ? "added" : "removed";
    if (chain.policy_before != chain.policy_after) {
      one["policy"] = {{"before", chain.policy_before}, {"after", chain.policy_after}};
    }
    one["rules"] = asJson(chain.rules);
    json["chains"].push_back(std::move(one));
  }
  for (const FileDifference &file : difference.files) json["files"][file.path] = asJson(file.lines);
  return json;
}

}  // namespace orba::tool
