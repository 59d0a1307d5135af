#include "tools/play/effects.h"

#include <algorithm>
#include <set>

#include "tools/catalog/sample_calls.h"

namespace orba::tool {

namespace {

using Words = std::vector<std::string>;

// A setting that the caller names is not the entry point's own.
bool readsOneOf(const Recording &run, const std::vector<ChangedSetting> &changed) {
  return std::any_of(changed.begin(), changed.end(), [&](const ChangedSetting &each) {
    const bool named = std::find(run.words.begin(), run.words.end(), each.key) != run.words.end();
    return !named && run.asked.count({each.space, each.key}) != 0;
  });
}

// Everything that is otherwise, a line each. The chains are what the commands make.
std::multiset<std::string> linesOf(const Difference &difference) {
  std::multiset<std::string> lines;
  const auto add = [&](const std::string &of, const Edits &edits) {
    for (const Edit &edit : edits) {
      if (edit.kind != Edit::kKept) lines.insert(of + std::to_string(edit.kind) + edit.text);
    }
  };
  add("command ", difference.commands);
  add("write ", difference.writes);
  add("other ", difference.others);
  for (const FileDifference &file : difference.files) add(file.path + " ", file.lines);
  return lines;
}

}  // namespace

std::string Effect::call() const {
  std::string text = entry;
  for (const std::string &word : words) text += " " + (word.empty() ? "\"\"" : word);
  return text;
}

std::vector<Effect> effectsOf(const std::vector<ChangedSetting> &changed,
                              const std::vector<nvram::Setting> &before,
                              const std::vector<nvram::Setting> &after, const Prepare &prepare) {
  std::vector<Effect> effects;
  const auto add = [&](const EntryPoint &entry, const Words &words) {
    const Recording was = record(before, entry.name, words, prepare);
    // What asks for none of them does the same.
    if (!readsOneOf(was, changed)) return;
    Difference difference = differenceOf(was, record(after, entry.name, words, prepare));
    if (!difference.none()) effects.push_back({entry.name, words, std::move(difference)});
  };
  for (const EntryPoint &entry : entryPoints()) {
    for (const Words &words : sampleCalls(entry)) {
      try {
        add(entry, words);
      } catch (const BadArgument &) {
        // A sample of what the entry point refuses.
      }
    }
  }
  return effects;
}

bool isWithin(const Difference &part, const Difference &whole) {
  const std::multiset<std::string> lines = linesOf(part), all = linesOf(whole);
  return std::includes(all.begin(), all.end(), lines.begin(), lines.end());
}

}  // namespace orba::tool
