#include "tools/play/effects.h"

#include <algorithm>
#include <set>

#include "tools/catalog/sample_calls.h"

namespace orba::tool {

namespace {

using Words = std::vector<std::string>;

// A setting that the caller names is not the entry point's own.
bool readsOneOf(const sim::Device &device, const Words &words,
                const std::vector<ChangedSetting> &changed) {
  return std::any_of(changed.begin(), changed.end(), [&](const ChangedSetting &each) {
    const bool named = std::find(words.begin(), words.end(), each.key) != words.end();
    return !named && device.asked().contains({each.space, each.key});
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
  std::vector<CallToMake> calls;
  for (const EntryPoint &entry : entryPoints()) {
    for (const Words &words : sampleCalls(entry)) calls.push_back({before, entry.name, words});
  }
  // What asks for none of them does the same.
  const auto reads = lookAtCalls(
      calls.size(), [&](size_t i) { return calls[i]; }, prepare,
      [&](size_t i, const sim::Device &device) {
        return std::vector<size_t>{readsOneOf(device, calls[i].words, changed)};
      });
  std::vector<Effect> effects;
  for (size_t i = 0; i < calls.size(); i++) {
    if (reads[i][0] == 0) continue;
    const auto &[config, entry, words] = calls[i];
    Difference difference =
        differenceOf(record(before, entry, words, prepare), record(after, entry, words, prepare));
    if (!difference.none()) effects.push_back({entry, words, std::move(difference)});
  }
  return effects;
}

bool isWithin(const Difference &part, const Difference &whole) {
  const std::multiset<std::string> lines = linesOf(part), all = linesOf(whole);
  return std::includes(all.begin(), all.end(), lines.begin(), lines.end());
}

}  // namespace orba::tool
