#include <system_error>

#include "command_line.h"
#include "store.h"

// Running out of memory may end the program. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char **argv) {
  CommandLine line("nvram_show", "Prints all settings of a space, as its file would hold them.");
  if (const int status = line.parse(argc, argv); status >= 0) return status;
  try {
    nvram::Store store(nvram::storeFolder());
    return line.print(nvram::printSettings(store.settings(line.space)));
  } catch (const std::system_error &error) {
    return line.storeError(error.code().value());
  }
}
