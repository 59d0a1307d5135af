// Settings that mean harm: every entry point runs with them, and what it would
// give to the shell is really given to one, in a cage.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "fuzz/command_list.h"
#include "fuzz/situation.h"
#include "sim/shell_line.h"
#include "tools/catalog/sample_calls.h"
#include "tools/device/config.h"
#include "tools/play/behaviour.h"

namespace {

namespace fs = std::filesystem;
using namespace orba::fuzz;
using orba::tool::EntryPoint;
using orba::tool::entryPoints;
using testing::IsEmpty;

using Lines = std::set<std::string>;

Line callOf(const EntryPoint &entry, const std::vector<std::string> &words) {
  return {std::string("@") + entry.name, "", words};
}

std::set<std::pair<int, std::string>> playHarm(const Situation &situation, Lines &lines) {
  Outcome outcome = play(situation);
  EXPECT_THAT(outcome.findings, IsEmpty()) << print(situation);
  for (const auto &[line, piped] : outcome.lines) lines.insert(line);
  return outcome.asked;
}

// Calls every entry point on a device where everything is `word`, with `word` in
// place of each of its own words, as far as they may be anything.
void callEverything(const std::string &word, Lines &lines) {
  const Situation device = {{"*", word, {}}, {"/*", word, {}}, {"|", word, {}}};
  for (const EntryPoint &entry : entryPoints()) {
    if (std::string(entry.name).rfind("doSystem", 0) == 0) continue;
    Situation situation = device;
    for (const auto &words : orba::tool::sampleCalls(entry)) {
      situation.push_back(callOf(entry, words));
      for (size_t i = 0; i < words.size(); i++) {
        situation.push_back(callOf(entry, words));
        situation.back().words[i] = word;
      }
    }
    playHarm(situation, lines);
  }
}

// What came of the lines in a cage, or why there is none.
std::string runInACage(const std::vector<std::string> &lines) {
  fs::path folder = fs::temp_directory_path() / ("orba-cage-" + std::to_string(getpid()));
  fs::create_directories(folder);
  {
    std::ofstream file(folder / "lines", std::ios::binary);
    for (const std::string &line : lines) file << line << '\0';
  }
  std::string command = std::string(CAGE) + " " + folder.string();
  for (const std::string &program : libraryCommands().programs()) command += " " + program;
  FILE *pipe = popen(command.c_str(), "r");
  std::string output;
  char block[4096];
  while (fgets(block, sizeof block, pipe) != nullptr) output += block;
  int status = pclose(pipe);
  fs::remove_all(folder);
  if (WEXITSTATUS(status) == 77) return "skipped: " + output;
  EXPECT_EQ(status, 0) << output;
  return output;
}

const char kHarm[] = ";$(touch X)`touch X`'\"|touch X\n&touch X;>X <~*?[!{}\\\t #";

}  // namespace

// What is not listed counts as a value become a command.
TEST(Commands, OfEveryTrialAreListed) {
  for (const auto &[entry, behaviour] : orba::tool::everyBehaviour()) {
    if (std::string(entry->name).rfind("doSystem", 0) == 0) continue;
    for (const auto &[line, piped] : behaviour.commands) {
      EXPECT_TRUE(libraryCommands().passes(line, piped))
          << entry->name << " runs what fuzz/commands.txt does not have: " << line;
    }
  }
}

TEST(Hostile, FiveThousandCharacters) {
  for (char filling : {'A', ';', ',', '9', '\'', '.'}) {
    Lines lines;
    callEverything(std::string(5000, filling), lines);
    for (const std::string &line : lines) EXPECT_LT(line.size(), 1024u);
  }
}

// An empty value moves the next one to where an option may stand.
TEST(Hostile, NoValueBecomesAnOption) {
  for (const std::string word : {"", "-", "--modprobe=/x", "- 'x y", "-,-,-,-,-,-,-,-"}) {
    Lines lines;
    callEverything(word, lines);
  }
}

// With its table of modules out of sight, iptables has the program that it is told
// to load a module with.
TEST(Hostile, IptablesStartsNoProgramOfAValue) {
  const fs::path folder = fs::temp_directory_path() / ("orba-option-" + std::to_string(getpid()));
  fs::create_directories(folder);
  const std::string program = folder / "program", mark = folder / "mark";
  std::ofstream(program) << "#!/bin/sh\n>" << mark << "\n";
  fs::permissions(program, fs::perms::owner_all);
  auto starts = [&](const std::string &lines) {
    fs::remove(mark);
    std::ofstream(folder / "lines") << "mount -t tmpfs none /proc || exit\n"
                                       "iptables() { iptables-legacy \"$@\"; }\n"
                                    << lines;
    std::string shell = "PATH=$PATH:/usr/sbin unshare -rnm sh " + (folder / "lines").string();
    (void)!std::system((shell + " >" + (folder / "log").string() + " 2>&1").c_str());
    return fs::exists(mark);
  };
  const std::string value = "--modprobe=" + program;
  Lines lines;
  playHarm({{"*", "1", {}}, {"websFilterTrustIP", value, {}}, {"@iptablesWebsFilterRun", "", {}}},
           lines);
  std::string all;
  for (const std::string &line : lines) all += line + "\n";
  const bool tried = starts("iptables -A web_filter -s ! " + value + " -p tcp -m tcp --dport 80");
  const bool started = starts(all);
  fs::remove_all(folder);
  EXPECT_FALSE(started) << all;
  if (!tried) GTEST_SKIP() << "no iptables-legacy that starts a program here";
}

// Whatever leads into a builder: the words that switch it on stand, and harm
// stands behind or in place of all else.
TEST(Hostile, NoValueBecomesACommand) {
  Lines lines;
  for (const std::string front : {"", "1", "2", "80", "br0", "1,1,1,1,1,1,1,1"}) {
    callEverything(front + kHarm, lines);
  }
  // Alone too: beside another that is quoted, one that is not would not be seen.
  for (char harm : std::set<char>(std::begin(kHarm), std::end(kHarm) - 1)) {
    callEverything(std::string("1") + harm + "X", lines);
  }

  // The examples, with harm in one field of one setting at a time.
  for (const auto &file : fs::directory_iterator(ORBA_EXAMPLES)) {
    if (file.path().extension() != ".conf") continue;
    const auto config = orba::tool::readConfig(file.path());
    for (const char *name : {"firewall_init", "RoutingInit", "executeStaticRoute",
                             "executePolicyRoute", "orba_pppoeRelay", "initInternet",
                             "wlan_schedule_init", "serviceCtl_restart", "startlog_init"}) {
      const EntryPoint &entry = orba::tool::entryPointNamed(name);
      auto situation = [&](const nvram::Setting *harmed, const std::string &value) {
        Situation lines_of_it;
        for (const nvram::Setting &setting : config) {
          lines_of_it.push_back({setting.space == 1 ? "[1]" : "[2]", "", {}});
          lines_of_it.push_back({setting.key, &setting == harmed ? value : setting.value, {}});
        }
        lines_of_it.push_back(callOf(entry, orba::tool::sampleCalls(entry)[0]));
        return lines_of_it;
      };
      const auto asked = playHarm(situation(nullptr, ""), lines);
      for (const nvram::Setting &setting : config) {
        if (asked.count({setting.space, setting.key}) == 0) continue;
        std::vector<std::string> values = {setting.value + kHarm, kHarm, "-" + setting.value};
        size_t at = 0;
        while ((at = setting.value.find_first_of(",;", at)) != std::string::npos) {
          values.push_back(std::string(setting.value).insert(at++, "$(touch X)'`touch X`"));
          values.push_back(std::string(setting.value).insert(at, "-"));
        }
        for (const std::string &value : values) playHarm(situation(&setting, value), lines);
      }
    }
  }
  ASSERT_GT(lines.size(), 800u);

  // A real shell makes the same of a line as of one that has the letter x for
  // every byte that the values need quotes for. One line of each shape will do.
  std::vector<std::string> harmful_lines, harmless_lines;
  Lines shapes;
  for (const std::string &line : lines) {
    const std::string without = sim::withoutData(line);
    std::string shape = without;
    auto both_x = [](char a, char b) { return a == 'x' && b == 'x'; };
    shape.erase(std::unique(shape.begin(), shape.end(), both_x), shape.end());
    if (without == line || !shapes.insert(shape).second) continue;
    harmful_lines.push_back(line);
    harmless_lines.push_back(without);
  }
  std::string came = runInACage(harmful_lines);
  if (came.rfind("skipped", 0) == 0) GTEST_SKIP() << came;
  ASSERT_GT(harmful_lines.size(), 150u);
  EXPECT_EQ(came, runInACage(harmless_lines));
  printf("%zu lines, %zu of them in the cage\n", lines.size(), harmful_lines.size());
}

TEST(Hostile, TheCageShowsWhatALineDoes) {
  std::string quiet = runInACage({"telnetd -p 'x;touch X'"});
  if (quiet.rfind("skipped", 0) == 0) GTEST_SKIP() << quiet;
  EXPECT_THAT(quiet, testing::EndsWith(":telnetd 2 9\n"));
  EXPECT_THAT(quiet, testing::Not(testing::HasSubstr("X")));
  std::string loud = runInACage({"telnetd -p x;touch X"});
  EXPECT_THAT(loud, testing::HasSubstr("./work/X\n"));
  EXPECT_THAT(loud, testing::HasSubstr(":touch 1\n"));
  EXPECT_THAT(runInACage({"telnetd `telnetd &`"}),
              testing::HasSubstr("/100001:telnetd\n./100001:telnetd\n"));
}
