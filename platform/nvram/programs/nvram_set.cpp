#include <cerrno>

#include "command_line.h"
#include "nvram.h"
#include "store_format.h"

// Running out of memory may end the program. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char **argv) {
  std::string key;
  std::string value;
  CommandLine line("nvram_set", "Sets one setting of the router, durably.");
  line.required("KEY", key, "The setting's name; no '=' or newline in it, no '#' or '[' first");
  line.required("VALUE", value, "Its new value, which may be empty");
  if (const int status = line.parse(argc, argv); status >= 0) return status;

  if (!nvram::validKey(key)) {
    line.complain("\"" + key + "\" cannot be the name of a setting");
    return kExitUsage;
  }
  if (nvram_set(line.space, key.c_str(), value.c_str()) == 0) return kExitFine;
  return line.storeError(errno);
}
