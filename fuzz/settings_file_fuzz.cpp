#include <cstdio>
#include <cstdlib>

#include "fuzz/progress.h"
#include "fuzz/settings_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string fault = orba::fuzz::checkSettingsFile({reinterpret_cast<const char *>(data), size});
  orba::fuzz::countPlayed();
  if (fault.empty()) return 0;
  fprintf(stderr, "%s\n", fault.c_str());
  abort();
}
