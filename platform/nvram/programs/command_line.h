/* What the store's programs have in common. */
#ifndef NVRAM_PROGRAMS_COMMAND_LINE_H
#define NVRAM_PROGRAMS_COMMAND_LINE_H

#include <cstdio>
#include <memory>
#include <string>

namespace CLI {
class App;
}

enum Exit { kExitFine = 0, kExitNoSuchKey = 1, kExitUsage = 2, kExitStoreError = 3 };

class CommandLine {
 public:
  CommandLine(const char *name, const char *about);
  ~CommandLine();

  void required(const char *name, std::string &text, const char *about);
  /* -1 to go on, otherwise the exit status. */
  int parse(int argc, char **argv);
  int storeError(int error) const;
  /* Says on standard error what was wrong. */
  void complain(const std::string &what) const;
  /* Writes `text`, spelled out for a terminal, and says whether it all arrived. */
  int print(const std::string &text) const;

  int space = 1;

 private:
  const char *name_;
  std::unique_ptr<CLI::App> app_;
};

#endif
