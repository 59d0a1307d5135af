// Writes the reference, docs/settings.md and docs/entry-points.md, or tells in
// what it is not what it should be.
//   orba_reference SOURCE_FOLDER [--write]
#include <fstream>
#include <iostream>
#include <sstream>

#include "tools/reference/pages.h"

namespace {

using namespace orba::reference;

// The first line that differs, as it stands and as it should.
bool isSame(const std::string &path, const std::string &wanted) {
  std::ifstream file(path);
  std::istringstream lines(wanted);
  for (int number = 1;; number++) {
    std::string is, should;
    bool more = static_cast<bool>(std::getline(file, is));
    bool more_wanted = static_cast<bool>(std::getline(lines, should));
    if (!more && !more_wanted) return true;
    if (more == more_wanted && is == should) continue;
    std::cout << path << ":" << number << ": is\n  " << is << "\nand should be\n  " << should
              << "\n./dev reference writes it anew\n";
    return false;
  }
}

int run(const std::string &source, bool write) {
  const std::vector<Symbol> symbols = readSymbols(source + "/src/orba_util.symbols");
  const std::vector<Known> &all = orba::tool::everyBehaviour();
  const std::vector<std::string> complaints = undescribed(all);
  for (const std::string &complaint : complaints) std::cout << complaint << "\n";
  bool good = complaints.empty();
  const std::pair<std::string, std::string> pages[] = {
      {source + "/docs/settings.md", settingsPage(all)},
      {source + "/docs/entry-points.md", entryPointsPage(all, symbols)},
  };
  for (const auto &[path, page] : pages) {
    if (write) std::ofstream(path) << page;
    good = isSame(path, page) && good;
  }
  return good ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::cerr << "usage: orba_reference SOURCE_FOLDER [--write]\n";
    return 2;
  }
  try {
    return run(argv[1], argc > 2 && argv[2] == std::string("--write"));
  } catch (const std::exception &error) {
    std::cout << error.what() << "\n";
    return 1;
  }
}
