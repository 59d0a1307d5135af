// orba: see what the library would do, or do it.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "tools/catalog/entry_point.h"
#include "tools/cli/subcommands.h"
#include "tools/cli/usage.h"
#include "tools/device/config.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"

namespace {

using namespace orba::tool;

// In the order of the help.
constexpr void (*kSubcommands[])(CLI::App &, Exit &) = {
    addList,  addPlan,  addShow,    addDiff,   addTrace,  addPorts, addExpect,
    addPsk,   addCheck, addExplain, addImport, addExport, addApply, addRehearse,
#ifdef ORBA_HAS_SERVE
    addServe,
#endif
    addLab,
};

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 something was found, 2 wrong usage or no lab, 3 bad configuration,\n"
    "4 output that cannot be written, 77 no lab can be made here.";

void complain(const std::string &what) {
  std::cerr << "orba: " << forReader(what, STDERR_FILENO) << "\n";
}

Exit complain(const std::exception &error, Exit code) {
  complain(error.what());
  return code;
}

bool readsConfig(const CLI::App &command) {
  return command.get_option_no_throw("--config") != nullptr ||
         command.get_option_no_throw("AFTER") != nullptr;
}

// Gives --lenient to each subcommand that does, those of `app` and theirs.
void addLenient(CLI::App &app) {
  for (CLI::App *command : app.get_subcommands({})) {
    addLenient(*command);
    if (!readsConfig(*command)) continue;
    command->add_flag_callback(
        "--lenient", [] { on_bad_line = [](const std::string &fault) { complain(fault); }; },
        "Name the lines that are no settings, and go on without them");
  }
}

}  // namespace

namespace {

// Whether standard output is a pipe that nobody reads any more. That ends a program, this one
// only when everything of its own is put away.
bool has_no_reader = false;

void endWithoutReader() {
  if (!has_no_reader) return;
  signal(SIGPIPE, SIG_DFL);
  raise(SIGPIPE);
}

Exit run(int argc, char **argv) {
  CLI::App app{"See what liborba_util would do with a router's settings.", "orba"};
  app.require_subcommand(1);
  app.footer(kExitCodes);
  app.set_version_flag("--version", ORBA_VERSION);
  Exit exit = kDone;
  for (auto add : kSubcommands) add(app, exit);
  addLenient(app);
  runLabShell(argc, argv);
  std::vector<std::string> words = wordsOf(argc, argv);
  requireSubcommand(app, words);
  try {
    std::reverse(words.begin(), words.end());  // as the parser wants them
    app.parse(words);
  } catch (const CLI::Success &asked) {
    app.exit(asked);
  } catch (const CLI::ParseError &error) {
    throw BadArgument(usageError(app, error));
  }
  std::cout.flush();
  return exit;
}

}  // namespace

int main(int argc, char **argv) {
  // A handler, which what is started from here does not inherit.
  signal(SIGPIPE, [](int) {});
  atexit(endWithoutReader);  // the first is the last to be called
  watchStandardOutput();
  try {
    return run(argc, argv);
  } catch (const CannotWrite &error) {
    std::cout.exceptions(std::ios::goodbit);  // complaining flushes it again
    has_no_reader = error.error == EPIPE;
    if (!has_no_reader) complain(error.what());
    return kOutput;
  } catch (const BadArgument &error) {
    return complain(error, kUsage);
  } catch (const BadLines &error) {
    complain(error, kConfig);
    const bool one = strchr(error.what(), '\n') == nullptr;
    complain(std::string("--lenient goes on without ") + (one ? "that line" : "those lines"));
    return kConfig;
  } catch (const std::exception &error) {
    // A bad configuration, or what nobody foresaw.
    return complain(error, kConfig);
  }
}
