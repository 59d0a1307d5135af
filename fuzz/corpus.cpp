// The corpora, one file for each target: situations divided by lines "----", or
// settings files one a line, escaped.
//
//   fuzz_corpus replay FILE...       plays all of them, or a folder; 1 when there is a finding
//   fuzz_corpus unpack FILE FOLDER   an input a file, as the fuzzer wants them
//   fuzz_corpus pack FOLDER FILE     the way back
//   fuzz_corpus unseen FILE...       the listed commands that no situation led to
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "fuzz/command_list.h"
#include "fuzz/settings_file.h"
#include "fuzz/situation.h"

namespace {

namespace fs = std::filesystem;
using namespace orba::fuzz;

constexpr char kDivider[] = "----\n";

std::string contentOf(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path.string() + ": cannot be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> filesOf(const fs::path &folder) {
  std::vector<std::string> contents;
  for (const auto &file : fs::directory_iterator(folder)) {
    contents.push_back(contentOf(file.path()));
  }
  return contents;
}

bool isOfSettingsFiles(const fs::path &corpus) {
  return corpus.stem() == "settings_file";
}

// Of a corpus, or of a folder of its name as the fuzzer leaves it.
std::vector<std::string> inputsOf(const fs::path &corpus) {
  if (fs::is_directory(corpus)) return filesOf(corpus);
  const std::string content = contentOf(corpus);
  const std::string divider = isOfSettingsFiles(corpus) ? "\n" : kDivider;
  std::vector<std::string> inputs;
  for (size_t at = 0; at < content.size();) {
    size_t end = std::min(content.find(divider, at), content.size());
    std::string input = content.substr(at, end - at);
    inputs.push_back(isOfSettingsFiles(corpus) ? decoded(input) : input);
    at = end + divider.size();
  }
  return inputs;
}

int replay(const fs::path &corpus) {
  int findings = 0;
  for (const std::string &input : inputsOf(corpus)) {
    std::vector<std::string> found;
    if (!isOfSettingsFiles(corpus)) {
      found = play(readSituation(input)).findings;
    } else if (std::string fault = checkSettingsFile(input); !fault.empty()) {
      found.push_back(fault);
    }
    for (const std::string &finding : found) {
      printf("%s: %s\n%s\n", corpus.c_str(), finding.c_str(), input.c_str());
      findings++;
    }
  }
  return findings;
}

void unpack(const fs::path &corpus, const fs::path &folder) {
  fs::create_directories(folder);
  int number = 0;
  for (const std::string &input : inputsOf(corpus)) {
    std::ofstream(folder / std::to_string(number++), std::ios::binary) << input;
  }
}

void pack(const fs::path &folder, const fs::path &corpus) {
  std::vector<std::string> inputs;
  for (const std::string &input : filesOf(folder)) {
    inputs.push_back(isOfSettingsFiles(corpus) ? encoded(input) + "\n"
                                               : print(readSituation(input)) + kDivider);
  }
  std::sort(inputs.begin(), inputs.end());
  inputs.erase(std::unique(inputs.begin(), inputs.end()), inputs.end());
  std::ofstream file(corpus, std::ios::binary);
  for (const std::string &input : inputs) file << input;
}

}  // namespace

int main(int argc, char **argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const std::string verb = words.empty() ? "" : words[0];
  if ((verb == "unpack" || verb == "pack") && words.size() == 3) {
    verb == "pack" ? pack(words[1], words[2]) : unpack(words[1], words[2]);
    return 0;
  }
  if (verb != "replay" && verb != "unseen") {
    fprintf(stderr,
            "usage: fuzz_corpus replay FILE... | unseen FILE... | unpack FILE FOLDER | "
            "pack FOLDER FILE\n");
    return 2;
  }
  int findings = 0;
  for (size_t i = 1; i < words.size(); i++) findings += replay(words[i]);
  if (verb == "unseen") {
    for (const std::string &text : libraryCommands().unseen()) printf("%s\n", text.c_str());
  }
  return findings == 0 ? 0 : 1;
}
