// Calls entry points of the library that ships, by name, for the booted router:
//   orba_call ENTRY [WORD...]
// Prints what the entry point prints and then what it answers, a text a line. Exit code 0, or 2
// when there is no such entry point or the words are not what it takes.
#include <cstdio>

#include "tools/catalog/entry_point.h"

int main(int argc, char **argv) {
  using namespace orba::tool;
  if (argc < 2) {
    fprintf(stderr, "usage: orba_call ENTRY [WORD...]\n");
    return 2;
  }
  try {
    const EntryPoint &entry = entryPointNamed(argv[1]);
    const std::vector<std::string> words(argv + 2, argv + argc);
    entry.checkWords(words);
    const CallResult result = entry.call(words);
    if (!result.returned.empty()) printf("%s\n", result.returned.c_str());
    for (const std::string &output : result.outputs) printf("%s\n", output.c_str());
  } catch (const BadArgument &error) {
    fprintf(stderr, "orba_call: %s\n", error.what());
    return 2;
  }
}
