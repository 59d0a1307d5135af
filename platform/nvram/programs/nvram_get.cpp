#include <cerrno>

#include "command_line.h"
#include "nvram.h"

// Running out of memory may end the program. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char **argv) {
  std::string key;
  CommandLine line("nvram_get", "Prints the value of one setting of the router.");
  line.required("KEY", key, "The setting's name");
  if (const int status = line.parse(argc, argv); status >= 0) return status;

  const char *value = nvram_get(line.space, key.c_str());
  if (value != nullptr) return line.print(value + std::string("\n"));
  if (errno != ENOENT) return line.storeError(errno);
  line.complain("no setting \"" + key + "\" in space " + std::to_string(line.space));
  return kExitNoSuchKey;
}
