// The subcommands that show what the library would do on the simulated device.
#ifndef ORBA_TOOLS_CLI_COMMANDS_H
#define ORBA_TOOLS_CLI_COMMANDS_H

#include <string>
#include <vector>

namespace orba::tool {

// What the tool's exit codes mean.
enum Exit { kDone = 0, kFound = 1, kUsage = 2, kConfig = 3 };

struct Options {
  std::string entry;
  std::vector<std::string> words;
  std::string config;
  std::string changed_config;
  std::string root;
  std::string device;
  long long ticks = 0;
  std::string at;
  bool in_lab = false;
  bool json = false;
  bool raw = false;
  bool tables = false;
  bool origins = false;
  std::string picture;
};

// Each prints its answer. They throw BadArgument and BadConfig.
Exit list(bool json);
Exit plan(const Options &options);
Exit diff(const Options &options);
Exit show(const Options &options);
Exit check(const Options &options);

}  // namespace orba::tool

#endif
