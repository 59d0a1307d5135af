/* What the store's programs have in common. */
#ifndef NVRAM_PROGRAMS_COMMAND_LINE_H
#define NVRAM_PROGRAMS_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <string>

enum Exit { exitFine = 0, exitNoSuchKey = 1, exitUsage = 2, exitStoreError = 3 };

class CommandLine {
 public:
  CommandLine(const char *name, const char *about) : name_(name), app_(about, name) {
    app_.add_option("-s,--space", space, "The space: 1 the main settings, 2 the 5 GHz module's")
        ->check(CLI::Range(1, 9))
        ->capture_default_str();
    // A value may begin with '-' and is still the value.
    app_.positionals_at_end();
    app_.footer(
        "The settings are in the folder that ORBA_NVRAM_DIR names, /var/lib/orba otherwise.\n"
        "Exit status: 0 done, 1 no such key, 2 wrong usage, 3 the store cannot be read or "
        "written.");
  }

  void required(const char *name, std::string &text, const char *about) {
    app_.add_option(name, text, about)->required();
  }

  /* -1 to go on, otherwise the exit status. */
  int parse(int argc, char **argv) {
    try {
      app_.parse(argc, argv);
      return -1;
    } catch (const CLI::ParseError &error) {
      return app_.exit(error) == 0 ? exitFine : exitUsage;
    }
  }

  int storeError(int error) const {
    fprintf(stderr, "%s: space %d: %s\n", name_, space, strerror(error));
    return exitStoreError;
  }

  /* Writes `text` and says whether it all arrived. */
  int print(const std::string &text) const {
    if (fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0) {
      return exitFine;
    }
    perror(name_);
    return exitStoreError;
  }

  int space = 1;

 private:
  const char *name_;
  CLI::App app_;
};

#endif
