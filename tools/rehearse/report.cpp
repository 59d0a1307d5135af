#include "tools/rehearse/report.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "tools/text/lines.h"
#include "tools/text/svg.h"

namespace orba::tool {

namespace {

using nlohmann::ordered_json;
using Lines = std::vector<std::string>;

// Of a change with more kinds so many are shown; report.json has all.
constexpr size_t kMostKinds = 8;

// "12,431"
std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
  return digits;
}

std::string configurations(uint64_t number) {
  return grouped(number) + (number == 1 ? " configuration" : " configurations");
}

std::string sideText(const ordered_json &side) {
  const std::string program = side["program"], version = side["version"];
  return "orba " + version + (program.empty() ? "" : " (" + visible(program) + ")");
}

// What the whole report says, a line each.
Lines headOf(const ordered_json &report) {
  std::string after = sideText(report["after"]);
  for (const std::string edit : report["edits"]) after += ", " + edit;
  const uint64_t all = report["configurations"], changed = report["changed"];
  const size_t groups = report["groups"].size();
  Lines lines = {"before: " + sideText(report["before"]), "after:  " + after,
                 configurations(all) + ": " + grouped(changed) + " change, in " + grouped(groups) +
                     (groups == 1 ? " group; " : " groups; ") + grouped(all - changed) + " do not"};
  if (report["not_read"] != 0) {
    lines.push_back(configurations(report["not_read"]) + " not read: not-read.txt");
  }
  if (report["damaged"] != 0) {
    lines.push_back(configurations(report["damaged"]) +
                    " with lines that are no settings, which were passed over: damaged.txt");
  }
  return lines;
}

// A group: its heading, and what is told of it under which name.
struct Told {
  std::string heading;
  std::vector<std::pair<std::string, Lines>> parts;
};

Told toldOf(const ordered_json &group) {
  Told told;
  told.heading = std::to_string(group["number"].get<size_t>()) + ". " +
                 configurations(group["count"]) +
                 (group["opens"] ? ": opens something to the Internet" : "");
  Lines kinds;
  for (const std::string kind : group["kinds"]) {
    if (kinds.size() == kMostKinds) {
      kinds.push_back("and " + grouped(group["kinds"].size() - kMostKinds) + " more kinds");
      break;
    }
    kinds.push_back(kind);
  }
  told.parts.push_back({group["traffic"] ? "traffic" : "what", kinds});
  std::string entries;
  for (const std::string entry : group["entries"]) entries += (entries.empty() ? "" : ", ") + entry;
  if (!entries.empty()) told.parts.push_back({"in", {entries}});
  if (group.contains("settings")) {
    Lines settings = group["settings"];
    if (settings.empty()) settings = {"whatever is set"};
    told.parts.push_back({"shown by", settings});
    told.parts.push_back({"such as", group["witness"]["lines"]});
    told.parts.push_back({group["traffic"] ? "packets" : "traffic", group["witness"]["traffic"]});
  }
  told.parts.push_back({"example", {group["example"]}});
  told.parts.push_back({"all", {group["list"]}});
  return told;
}

constexpr char kStyle[] =
    "body{font:16px/1.5 system-ui,sans-serif;max-width:70em;margin:2em auto;padding:0 1em}"
    "details{border:1px solid #8888;border-radius:6px;margin:.5em 0;padding:.4em 1em}"
    "summary{cursor:pointer;font-weight:600}.opens>summary{color:#c22}"
    "dt{margin-top:.6em;font-weight:600}dd{margin:0;font-family:monospace;white-space:pre-wrap;"
    "overflow-wrap:anywhere}@media(prefers-color-scheme:dark){body{background:#181818;color:#eee}}";

}  // namespace

std::string reportText(const ordered_json &report) {
  std::string text;
  for (const std::string &line : headOf(report)) text += visible(line) + "\n";
  for (const ordered_json &group : report["groups"]) {
    const Told told = toldOf(group);
    text += "\n" + told.heading + "\n";
    for (const auto &[name, lines] : told.parts) {
      std::string margin = "   " + name + std::string(10 - std::min<size_t>(9, name.size()), ' ');
      for (const std::string &line : lines) {
        text += margin + visible(line) + "\n";
        margin.assign(13, ' ');
      }
    }
  }
  return text;
}

std::string reportPage(const ordered_json &report) {
  std::string page =
      "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<meta name=\"viewport\" content=\"width=device-width\">"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'\"><title>Rehearsal</title><style>" +
      std::string(kStyle) + "</style></head><body>\n<h1>Rehearsal</h1>\n";
  for (const std::string &line : headOf(report)) page += "<p>" + xmlText(line) + "</p>\n";
  for (const ordered_json &group : report["groups"]) {
    const Told told = toldOf(group);
    page += group["opens"] ? "<details class=\"opens\" open>" : "<details open>";
    page += "<summary>" + xmlText(told.heading) + "</summary><dl>\n";
    for (const auto &[name, lines] : told.parts) {
      if (lines.empty()) continue;
      page += "<dt>" + name + "</dt>";
      for (const std::string &line : lines) page += "<dd>" + xmlText(line) + "</dd>";
      page += "\n";
    }
    page += "</dl></details>\n";
  }
  return page + "</body></html>\n";
}

}  // namespace orba::tool
