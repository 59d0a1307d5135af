#include "command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <sstream>

#include "terminal.h"

CommandLine::CommandLine(const char *name, const char *about)
    : name_(name), app_(std::make_unique<CLI::App>(about, name)) {
  app_->add_option("-s,--space", space, "The space: 1 the main settings, 2 the 5 GHz module's")
      ->check(CLI::Range(1, 9))
      ->capture_default_str();
  // A value may begin with '-' and is still the value.
  app_->positionals_at_end();
  app_->footer(
      "The settings are in the folder that ORBA_NVRAM_DIR names, /var/lib/orba otherwise.\n"
      "On a terminal, what would tell it something is spelled out, such as \\x1b.\n"
      "Exit status: 0 done, 1 no such key, 2 wrong usage, 3 the store cannot be read or "
      "written.");
}

CommandLine::~CommandLine() = default;

void CommandLine::required(const char *name, std::string &text, const char *about) {
  app_->add_option(name, text, about)->required();
}

int CommandLine::parse(int argc, char **argv) {
  try {
    app_->parse(argc, argv);
    return -1;
  } catch (const CLI::ParseError &error) {
    std::ostringstream complained;
    const int code = app_->exit(error, std::cout, complained);
    std::cerr << nvram::forReader(complained.str(), STDERR_FILENO);
    return code == 0 ? kExitFine : kExitUsage;
  }
}

int CommandLine::storeError(int error) const {
  complain("space " + std::to_string(space) + ": " + strerror(error));
  return kExitStoreError;
}

void CommandLine::complain(const std::string &what) const {
  fprintf(stderr, "%s: %s\n", name_, nvram::forReader(what, STDERR_FILENO).c_str());
}

int CommandLine::print(const std::string &text) const {
  const std::string shown = nvram::forReader(text);
  if (fwrite(shown.data(), 1, shown.size(), stdout) == shown.size() && fflush(stdout) == 0) {
    return kExitFine;
  }
  perror(name_);
  return kExitStoreError;
}
