// orba: see what the library would do, or do it.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "tools/catalog/entry_point.h"
#include "tools/cli/subcommands.h"
#include "tools/text/lines.h"

namespace {

using namespace orba::tool;

// In the order of the help.
constexpr void (*kSubcommands[])(CLI::App &, Exit &) = {
    addList,  addPlan, addShow, addDiff, addTrace, addPsk, addCheck, addExplain, addApply,
#ifdef ORBA_HAS_SERVE
    addServe,
#endif
    addLab,
};

Exit complain(const std::exception &error, Exit code) {
  std::cerr << "orba: " << forReader(error.what(), STDERR_FILENO) << "\n";
  return code;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"See what liborba_util would do with a router's settings."};
  app.require_subcommand(1);
  app.footer("Exit codes: 0 done, 1 something was found, 2 wrong usage, 3 bad configuration.");
  app.set_version_flag("--version", ORBA_VERSION);
  Exit exit = kDone;
  for (auto add : kSubcommands) add(app, exit);
  try {
    runLabShell(argc, argv);
    app.parse(argc, argv);
    return exit;
  } catch (const CLI::ParseError &error) {
    std::ostringstream said, complained;
    int code = app.exit(error, said, complained);
    std::cout << said.str();
    std::cerr << forReader(complained.str(), STDERR_FILENO);
    return code == 0 ? kDone : kUsage;
  } catch (const BadArgument &error) {
    return complain(error, kUsage);
  } catch (const std::exception &error) {
    // A bad configuration, or what nobody foresaw.
    return complain(error, kConfig);
  }
}
