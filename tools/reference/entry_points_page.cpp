#include <algorithm>

#include "tools/catalog/declarations.h"
#include "tools/catalog/settings.h"
#include "tools/play/value_names.h"
#include "tools/reference/pages.h"

namespace orba::reference {

namespace {

using Lines = std::vector<std::string>;

constexpr char kEntryPointsHead[] =
    R"(# Entry points

Every function and datum that the library exports, by subsystem: what it runs, and which settings and
files it reads and writes. Arguments, results and buffer sizes stand in `include/orba_util.h`.

The commands are those of an example device, found by calling every function with every setting that
it asks for changed or missing. `<DMZAddress>` is the value of a setting, `<RoutingRules[gateway]>` a field of a
list's record, `<netmask>` an argument, `<WAN>` the WAN's interface; a command that ends in `|` is run
for its output, and `# iptablesMclRun` stands for all that this function runs. What runs on the device as it comes is followed by what only runs in another
situation. Two settings changed at once are tried only where the second is asked for because of the
first. What settings of your own would run: `orba plan ENTRY --config FILE`.

Made by `./dev reference`. What a setting means: [settings](settings.md).

)";

// ---- lines ----

// A function without arguments whose commands another one's may contain.
struct Builder {
  const Known *known;
  const Lines *lines;
};

std::vector<Builder> builders(const std::vector<Known> &all) {
  std::vector<Builder> found;
  for (const Known &known : all) {
    if (known.entry->parameters.empty() && known.behaviour.usual.size() > 1) {
      found.push_back({&known, &known.behaviour.usual});
    }
  }
  // The longest is tried first.
  std::stable_sort(found.begin(), found.end(), [](const Builder &a, const Builder &b) {
    return a.lines->size() > b.lines->size();
  });
  return found;
}

const Builder *builderAt(const std::vector<Builder> &candidates, const Lines &lines, size_t at) {
  for (const Builder &builder : candidates) {
    size_t size = builder.lines->size();
    if (size >= lines.size() || size > lines.size() - at) continue;
    auto first = lines.begin() + static_cast<std::ptrdiff_t>(at);
    if (std::equal(builder.lines->begin(), builder.lines->end(), first)) return &builder;
  }
  return nullptr;
}

// What a function runs, with the functions that it calls in place of their lines.
struct Folded {
  Lines lines;
  std::vector<const Known *> called;
};

Folded folded(const std::vector<Builder> &candidates, const Lines &lines) {
  Folded result;
  for (size_t at = 0; at < lines.size();) {
    if (const Builder *builder = builderAt(candidates, lines, at)) {
      result.lines.push_back(std::string("# ") + builder->known->entry->name);
      result.called.push_back(builder->known);
      at += builder->lines->size();
    } else {
      result.lines.push_back(lines[at++]);
    }
  }
  return result;
}

// Of a kind with more than six lines four are shown.
constexpr int kFewOfAKind = 6;
constexpr int kShownOfAKind = 4;

std::string block(const Lines &lines) {
  std::string text = "```\n";
  std::map<std::string, int> all, shown;
  for (const std::string &line : lines) all[tool::kindOf(line)]++;
  int left_out = 0;
  auto tellLeftOut = [&] {
    if (left_out > 0) text += "# ... " + std::to_string(left_out) + " more like these\n";
    left_out = 0;
  };
  for (const std::string &line : lines) {
    const std::string kind = tool::kindOf(line);
    if (all[kind] > kFewOfAKind && ++shown[kind] > kShownOfAKind) {
      left_out++;
      continue;
    }
    tellLeftOut();
    text += line + "\n";
  }
  tellLeftOut();
  return text + "```\n\n";
}

// ---- names ----

Lines quoted(const std::set<std::string> &paths) {
  Lines result;
  for (const std::string &path : paths) result.push_back("`" + path + "`");
  return result;
}

// Without what the functions that it calls have.
template <typename T>
std::set<T> without(std::set<T> names, const std::vector<const Known *> &called,
                    std::set<T> tool::Behaviour::*theirs) {
  for (const Known *known : called) {
    for (const T &name : known->behaviour.*theirs) names.erase(name);
  }
  return names;
}

// "- Reads the files `a`, `b`, and what they read"
std::string item(const std::string &verb, const char *object, const Lines &things,
                 const Lines &called) {
  if (things.empty()) return "";
  std::string rest;
  if (called.size() == 1) rest = ", and what it " + verb + "s";
  if (called.size() > 1) rest = ", and what they " + verb;
  std::string first = std::string(1, static_cast<char>(toupper(verb[0]))) + verb.substr(1) + "s ";
  return "- " + first + object + listed(things) + rest + "\n";
}

// ---- sections ----

std::string effects(const Known &known, const std::vector<const Known *> &called) {
  const tool::Behaviour &behaviour = known.behaviour;
  std::string text;
  Lines names;
  for (const Known *each : called) {
    std::string name = std::string("`") + each->entry->name + "`";
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  using tool::Behaviour;
  auto own = [&](auto things) { return without(behaviour.*things, called, things); };
  auto having = [&](auto things) {
    Lines some;
    for (const Known *each : called) {
      if (!(each->behaviour.*things).empty()) some.emplace_back(each->entry->name);
    }
    return some;
  };
  if (!names.empty()) text += "- Runs " + listed(names) + "\n";
  text += item("read", "", titlesOf(own(&Behaviour::reads)), having(&Behaviour::reads));
  text += item("write", "", titlesOf(own(&Behaviour::writes)), having(&Behaviour::writes));
  text += item("read", "the files ", quoted(own(&Behaviour::files_read)),
               having(&Behaviour::files_read));
  text += item("write", "the files ", quoted(own(&Behaviour::files_written)),
               having(&Behaviour::files_written));
  return text.empty() ? "" : text + "\n";
}

std::string titleOf(const tool::Deeds &deeds) {
  if (deeds.call.empty()) return "With " + deeds.situation + ":\n\n";
  std::string with = deeds.situation.empty() ? "" : " with " + deeds.situation;
  return "`" + deeds.call + "`" + with + ":\n\n";
}

std::string commands(const Known &known, const Folded &usual) {
  std::set<std::string> told;  // in the sections of the functions that it calls
  for (const Known *called : usual.called) {
    for (const tool::Deeds &deeds : called->behaviour.deeds) {
      for (const std::string &line : deeds.lines) told.insert(tool::kindOf(line));
    }
  }
  std::string text;
  const std::vector<tool::Deeds> &all = known.behaviour.deeds;
  bool one_call = all.empty() || all.front().call.empty();
  if (one_call && !usual.lines.empty()) text += block(usual.lines);
  for (const tool::Deeds &deeds : all) {
    if (one_call && deeds.situation.empty()) continue;
    Lines lines;
    for (const std::string &line : deeds.lines) {
      if (told.count(tool::kindOf(line)) == 0) lines.push_back(line);
    }
    if (lines.empty()) continue;
    text += titleOf(deeds) + block(lines);
  }
  return text;
}

std::string sentence(std::string line) {
  line[0] = static_cast<char>(toupper(static_cast<unsigned char>(line[0])));
  return line + ".";
}

std::string section(const Symbol &symbol, const tool::Declaration &declaration, const Known *known,
                    const std::vector<Builder> &candidates) {
  std::string text = "### `" + symbol.name + "`\n\n```c\n" + declaration.text + "\n```\n\n";
  if (known == nullptr) return text + declaration.comment + "\n\n";
  text += sentence(known->entry->line) + "\n\n";
  Folded usual = folded(candidates, known->behaviour.usual);
  return text + effects(*known, usual.called) + commands(*known, usual);
}

}  // namespace

std::string entryPointsPage(const std::vector<Known> &all, const std::vector<Symbol> &symbols) {
  const std::map<std::string, tool::Declaration> &header = tool::publicDeclarations();
  std::vector<Builder> candidates = builders(all);
  std::string contents, sections, subsystem;
  for (const Symbol &symbol : symbols) {
    auto declaration = header.find(symbol.name);
    if (declaration == header.end()) {
      throw std::runtime_error(symbol.name +
                               " is exported and not declared in include/orba_util.h");
    }
    auto known = std::find_if(all.begin(), all.end(),
                              [&](const Known &each) { return each.entry->name == symbol.name; });
    if (known == all.end() && !symbol.data) {
      throw std::runtime_error(symbol.name +
                               " is exported and not in tools/catalog/entry_points.cpp");
    }
    if (symbol.subsystem != subsystem) {
      subsystem = symbol.subsystem;
      contents += "- [" + subsystem + "](#" + subsystem + ")\n";
      sections += "## " + subsystem + "\n\n";
    }
    sections +=
        section(symbol, declaration->second, known == all.end() ? nullptr : &*known, candidates);
  }
  return kEntryPointsHead + contents + "\n" + sections;
}

}  // namespace orba::reference
