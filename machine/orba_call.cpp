// Calls entry points of the library that ships, by name, for the booted router, all in this
// process:
//   orba_call [--answer FILE | --stay SECONDS] ENTRY [WORD...] [-- ENTRY [WORD...]]...
//   orba_call --settings FILE
// Prints what the entry points print, and then what they answer, a text a line; with --answer that
// goes into a file, as a list in JSON. --settings puts a file's settings in place of all that the
// store has. Exit code 0; 2 when there is no such entry point or the words are not what it takes; 3
// when the store cannot be written.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "platform/nvram/store.h"
#include "tools/catalog/entry_point.h"

namespace {

using namespace orba::tool;

void replaceSettings(const char *path) {
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::map<int, nvram::Settings> spaces = {{1, {}}, {2, {}}};
  std::vector<nvram::Damage> damages;
  for (const nvram::Setting &setting : nvram::parseSettings(text, &damages))
    spaces[setting.space][setting.key] = setting.value;
  nvram::Store store(nvram::storeFolder());
  for (const auto &[space, settings] : spaces) store.replace(space, settings);
}

std::vector<std::vector<std::string>> callsIn(int argc, char **argv) {
  std::vector<std::vector<std::string>> calls(1);
  for (int i = 0; i < argc; i++) {
    if (argv[i] == std::string("--")) {
      calls.emplace_back();
    } else {
      calls.back().emplace_back(argv[i]);
    }
  }
  return calls;
}

void makeCalls(const std::vector<std::vector<std::string>> &calls, const char *answer) {
  nlohmann::ordered_json answers = nlohmann::ordered_json::array();
  for (const std::vector<std::string> &call : calls) {
    if (call.empty()) throw BadArgument("no entry point is named");
    const EntryPoint &entry = entryPointNamed(call.front());
    const std::vector<std::string> words(call.begin() + 1, call.end());
    entry.checkWords(words);
    const CallResult result = entry.call(words);
    fflush(stdout);
    answers.push_back({{"returned", result.returned}, {"outputs", result.outputs}});
    if (answer != nullptr) continue;
    if (!result.returned.empty()) printf("%s\n", result.returned.c_str());
    for (const std::string &output : result.outputs) printf("%s\n", output.c_str());
  }
  if (answer != nullptr)
    std::ofstream(answer) << answers.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The library's timer goes on ticking meanwhile, and its signals end a sleep.
void stay(int seconds) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < until) usleep(100000);
}

}  // namespace

int main(int argc, char **argv) {
  const std::string option = argc > 2 ? argv[1] : "";
  try {
    if (option == "--settings") {
      replaceSettings(argv[2]);
    } else if (option == "--answer") {
      makeCalls(callsIn(argc - 3, argv + 3), argv[2]);
    } else if (option == "--stay") {
      makeCalls(callsIn(argc - 3, argv + 3), nullptr);
      stay(atoi(argv[2]));
    } else {
      makeCalls(callsIn(argc - 1, argv + 1), nullptr);
    }
  } catch (const BadArgument &error) {
    fprintf(stderr, "orba_call: %s\n", error.what());
    return 2;
  } catch (const std::system_error &error) {
    fprintf(stderr, "orba_call: %s\n", error.what());
    return 3;
  }
}
