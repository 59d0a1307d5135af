#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstring>

CommandLine::CommandLine(const char *name, const char *about)
    : name_(name), app_(std::make_unique<CLI::App>(about, name)) {
  app_->add_option("-s,--space", space, "The space: 1 the main settings, 2 the 5 GHz module's")
      ->check(CLI::Range(1, 9))
      ->capture_default_str();
  // A value may begin with '-' and is still the value.
  app_->positionals_at_end();
  app_->footer(
      "The settings are in the folder that ORBA_NVRAM_DIR names, /var/lib/orba otherwise.\n"
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
    return app_->exit(error) == 0 ? exitFine : exitUsage;
  }
}

int CommandLine::storeError(int error) const {
  fprintf(stderr, "%s: space %d: %s\n", name_, space, strerror(error));
  return exitStoreError;
}

int CommandLine::print(const std::string &text) const {
  if (fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0) {
    return exitFine;
  }
  perror(name_);
  return exitStoreError;
}
