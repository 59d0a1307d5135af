/* The store's programs, run as from a shell, and what its library shows to others. */
#include <gmock/gmock.h>

#include "tests/nvram/processes.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

struct Outcome {
  int status;
  std::string output;
  std::string errors;
};

class Programs : public testing::Test {
 protected:
  Outcome run(const std::string &program, const std::string &arguments) const {
    const std::string command =
        std::string(NVRAM_PROGRAMS) + "/" + program + " " + arguments + " 2>" + folder.errors();
    Outcome outcome;
    FILE *pipe = popen(command.c_str(), "r");
    for (int c; (c = fgetc(pipe)) != EOF;) outcome.output += static_cast<char>(c);
    outcome.status = WEXITSTATUS(pclose(pipe));
    outcome.errors = StoreFolder::contents(folder.errors());
    return outcome;
  }

  StoreFolder folder;
};

TEST_F(Programs, SetGetAndShowSettings) {
  for (const char *arguments : {"RadioOff 1", "-s 2 SSIDSTA ' two  words'", "empty ''",
                                "list '[a,b]'", "dash --help", "number -1", "lines 'a\nb\\n'"}) {
    EXPECT_EQ(run("nvram_set", arguments).status, 0);
  }
  EXPECT_EQ(run("nvram_get", "--space 2 SSIDSTA").output, " two  words\n");
  EXPECT_EQ(run("nvram_get", "lines").output, "a\nb\\n\n");

  const Outcome shown = run("nvram_show", "");
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.output, folder.read("space1.conf"));
  EXPECT_THAT(shown.output, EndsWith("\n"
                                     "RadioOff=1\n"
                                     "dash=--help\n"
                                     "empty=\n"
                                     "lines=a\\nb\\\\n\n"
                                     "list=[a,b]\n"
                                     "number=-1\n"));
  EXPECT_THAT(run("nvram_show", "-s2").output, EndsWith("\nSSIDSTA= two  words\n"));
}

TEST_F(Programs, SayWhatWentWrong) {
  mkdir(folder.file("space3.conf").c_str(), 0700);
  const struct {
    const char *program, *arguments;
    int status;
    const char *errors;
  } cases[] = {
      {"nvram_get", "missing", 1, "nvram_get: no setting \"missing\" in space 1\n"},
      {"nvram_get", "-s 10 a", 2, "not in range"},
      {"nvram_get", "-s 3 a", 3, "nvram_get: space 3: Is a directory\n"},
      {"nvram_set", "a", 2, "VALUE is required"},
      {"nvram_set", "'#a' 1", 2, "nvram_set: \"#a\" cannot be the name of a setting\n"},
      {"nvram_set", "-s 3 a 1", 3, "nvram_set: space 3: Is a directory\n"},
      {"nvram_show", "-s 3", 3, "nvram_show: space 3: Is a directory\n"},
      {"nvram_show", ">/dev/full", 3, "nvram_show: No space left on device\n"},
  };
  for (const auto &c : cases) {
    const Outcome outcome = run(c.program, c.arguments);
    EXPECT_EQ(outcome.status, c.status) << c.program << " " << c.arguments;
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, HasSubstr(c.errors)) << c.program << " " << c.arguments;
  }
  for (const char *program : {"nvram_get", "nvram_set", "nvram_show"}) {
    EXPECT_THAT(run(program, "--help").output,
                AllOf(HasSubstr("ORBA_NVRAM_DIR"), HasSubstr("--space")));
  }
}

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
