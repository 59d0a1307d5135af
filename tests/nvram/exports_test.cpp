/* What the library shows to the programs that load it. */
#include <gmock/gmock.h>

namespace {

using testing::UnorderedElementsAre;

TEST(SharedLibrary, ExportsItsSixFunctionsOnly) {
  std::vector<std::string> names;
  FILE *pipe = popen(NM " -D --defined-only --format=just-symbols " NVRAM_LIBRARY, "r");
  char name[256];
  while (fscanf(pipe, "%255s", name) == 1) names.emplace_back(name);
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_THAT(names, UnorderedElementsAre("getNthValueSafe", "nvram_bufget", "nvram_bufset",
                                          "nvram_commit", "nvram_get", "nvram_set"));
}

}  // namespace
