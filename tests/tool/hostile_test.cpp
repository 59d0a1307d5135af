// Settings that mean harm: every entry point runs with them, and what it would
// give to the shell is really given to one, in a cage.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "sim/device.h"
#include "sim/switch.h"
#include "tools/orba/config.h"
#include "tools/orba/entry.h"

namespace {

using orba::tool::entries;
using orba::tool::Entry;

// These run what their caller gives them: that is their purpose.
const std::set<std::string> kRunners = {"doSystem", "doSystemBackGround", "doSystemWithoutConsole"};

// Calls every entry point, with `word` as every text, on a device that
// `prepare` makes.
template <typename Prepare>
void callEverything(const std::string &word, Prepare prepare, std::set<std::string> &lines) {
  for (const Entry &entry : entries()) {
    if (kRunners.count(entry.name) != 0) continue;
    sim::Device device;
    device.onExit([](int) { throw std::runtime_error("exit"); });
    device.part<sim::Switch>();
    prepare(device);
    std::vector<std::string> words;
    for (const orba::tool::Parameter &parameter : entry.parameters) {
      if (parameter.isWord()) words.push_back(word);
    }
    try {
      entry.call(words);
    } catch (const orba::tool::BadArgument &) {
      // A number is wanted somewhere: all of them then.
      for (const char *number : {"0", "1", "2", "100000"}) {
        std::vector<std::string> numbers = words;
        for (size_t i = 0, n = 0; i < entry.parameters.size(); i++) {
          if (!entry.parameters[i].isWord()) continue;
          try {
            orba::tool::numberFrom(entry.parameters[i], numbers[n]);
          } catch (const orba::tool::BadArgument &) {
            numbers[n] = number;
          }
          n++;
        }
        try {
          entry.call(numbers);
        } catch (const std::runtime_error &) {
        }
      }
    } catch (const std::runtime_error &) {
    }
    device.advance(1000);
    for (const std::string &line : device.shellLines()) lines.insert(line);
    for (const std::string &line : device.pipes()) lines.insert(line);
    EXPECT_EQ(device.openPipes(), 0) << entry.name;
  }
}

// Runs each line in an empty file system of its own with nothing in it but a
// shell and the means to leave a mark. Returns the marks, or what was wrong.
std::string runInACage(const std::set<std::string> &lines) {
  namespace fs = std::filesystem;
  fs::path folder = fs::temp_directory_path() / ("orba-cage-" + std::to_string(getpid()));
  fs::create_directories(folder);
  {
    std::ofstream file(folder / "lines", std::ios::binary);
    for (const std::string &line : lines) file << line << '\0';
  }
  std::string command = std::string(CAGE) + " " + folder.string();
  FILE *pipe = popen(command.c_str(), "r");
  std::string output;
  char block[256];
  while (fgets(block, sizeof block, pipe) != nullptr) output += block;
  int status = pclose(pipe);
  fs::remove_all(folder);
  if (WEXITSTATUS(status) == 77) return "skipped: " + output;
  if (status != 0) return "the cage failed: " + output;
  return output;
}

const char kHarm[] = ";$(touch X)`touch X`'\"|touch X\n&touch X;>X #";

}  // namespace

TEST(Hostile, NothingAtAll) {
  std::set<std::string> lines;
  callEverything(
      "", [](sim::Device &) {}, lines);
}

TEST(Hostile, FiveThousandCharacters) {
  for (char filling : {'A', ';', ',', '9', '\'', '.'}) {
    std::string text(5000, filling);
    std::set<std::string> lines;
    auto prepare = [&](sim::Device &device) {
      device.everySetting(text).answer("", text);
      device.root().everyFile(text);
    };
    callEverything(text, prepare, lines);
    for (const std::string &line : lines) EXPECT_LT(line.size(), 1024u);
  }
}

// Whatever leads into a builder: the words that switch it on stand, and harm
// stands behind or in place of all else.
TEST(Hostile, NoValueBecomesACommand) {
  std::set<std::string> lines;
  for (const std::string front : {"", "1", "2", "80", "br0", "1,1,1,1,1,1,1,1"}) {
    std::string harm = front + kHarm;
    auto prepare = [&](sim::Device &device) {
      device.everySetting(harm).answer("", harm);
      device.root().everyFile(harm);
    };
    callEverything(harm, prepare, lines);
  }

  // The examples, with harm in one field of one setting at a time.
  for (const auto &file : std::filesystem::directory_iterator(EXAMPLES)) {
    if (file.path().extension() != ".conf") continue;
    auto config = orba::tool::readConfig(file.path());
    for (const nvram::Entry &setting : config) {
      std::vector<std::string> values = {setting.value + kHarm, kHarm};
      size_t at = 0;
      while ((at = setting.value.find_first_of(",;", at)) != std::string::npos) {
        values.push_back(std::string(setting.value).insert(at++, "$(touch X)'`touch X`"));
      }
      for (const std::string &value : values) {
        for (const char *name : {"firewall_init", "RoutingInit", "executeStaticRoute",
                                 "executePolicyRoute", "orba_pppoeRelay", "initInternet",
                                 "wlan_schedule_init", "serviceCtl_restart", "startlog_init"}) {
          auto entry = std::find_if(entries().begin(), entries().end(),
                                    [&](const Entry &e) { return std::string(name) == e.name; });
          if (entry == entries().end()) continue;
          sim::Device device;
          orba::tool::putSettings(config, device);
          device.settings({{setting.key, value}}, setting.space);
          entry->call(entry->parameters.empty() ? std::vector<std::string>{}
                                                : std::vector<std::string>{"0"});
          for (const std::string &line : device.shellLines()) lines.insert(line);
          for (const std::string &line : device.pipes()) lines.insert(line);
        }
      }
    }
  }
  ASSERT_GT(lines.size(), 800u);
  std::string marks = runInACage(lines);
  if (marks.rfind("skipped", 0) == 0) GTEST_SKIP() << marks;
  EXPECT_EQ(marks, "");

  // The cage does show a mark.
  EXPECT_NE(runInACage({"true;touch X"}), "");
}
