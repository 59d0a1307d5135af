// What tells whether a value became a command is wrong itself, or is it?
#include <gmock/gmock.h>

#include "core/shell_word.h"
#include "fuzz/command_list.h"
#include "fuzz/situation.h"
#include "sim/shell_line.h"

namespace {

// A value with this byte in it goes into commands as it is.
char leaking = '\0';

bool passes(const std::string &line) {
  return orba::fuzz::libraryCommands().passes(line, false);
}

}  // namespace

// Linked in place of the library's quoting (-Wl,--wrap), which it leaves to the library but
// for values that leak. What they quoted to is longer than they are.
using orba::ShellWord;
extern "C" void __real__ZN4orba9ShellWordC1ENS_5SliceE(ShellWord *word, orba::Slice value);
extern "C" void __wrap__ZN4orba9ShellWordC1ENS_5SliceE(ShellWord *word, orba::Slice value) {
  __real__ZN4orba9ShellWordC1ENS_5SliceE(word, value);
  if (leaking == '\0' || memchr(value.begin, leaking, value.length) == nullptr) return;
  orba::copyText(const_cast<char *>(word->text()), value.length + 1, value.begin);
}

TEST(Oracle, LinesThatPass) {
  for (
      const char *line :
      {"telnetd -p 23 1>/dev/null 2>&1", "telnetd -p  1>/dev/null 2>&1",
       "telnetd -p 'a b;c|d&e$(f)`g`*?~#<>\n\\' 1>/dev/null 2>&1",
       "telnetd -p 'it'\\''s' 1>/dev/null 2>&1", "telnetd -p ''", "telnetd -p ''1-",
       "ip rule add fwmark 0x1/0xe0000000 prio 2 table pf_-x", "telnetd -p '' 1>/dev/null 2>&1",
       "route add -net 'a b'  netmask c gw 'd' dev e 2>&1  1>/dev/null 2>&1",
       "arping -c 1 -I br0 10.0.0.1 1>/dev/null 2>&1 &",
       "/bin/super_dmz -t 80  -t 1:2 -u '3 4'   1>/dev/null 2>&1",
       "kill -9 `ps -aef | grep \"mini_httpd -p 80 -SP 443\" | grep -v grep | awk '{print $1}'`"}) {
    EXPECT_TRUE(passes(line)) << line;
  }
}

TEST(Oracle, LinesThatDoNot) {
  for (const char *value :
       {"1;reboot",      "1$(reboot)",   "1\nreboot", "1\\\n2",    " 1",      "1 #",
        "1 >x",          "1&&x",         "$IFS",      "{a,b}",     "'a' 'b'", "'a",
        "\"$(reboot)\"", "\"`reboot`\"", "\"$x\"",    "'a'b c'd'", "1\\2",    "-1",
        "'-1'",          "''-1",         "-",         "\"1\\\\2\""}) {
    EXPECT_FALSE(passes(std::string("telnetd -p ") + value + " 1>/dev/null 2>&1")) << value;
    EXPECT_FALSE(passes(std::string("telnetd -p ") + value)) << value;
  }
  for (const char *line :
       {"telnetd -q 23", "telnetd", "reboot", "", "telnetd -p 23 1>/dev/null", "'telnetd' -p 23",
        "switch pppoe-passthrogh x", "switch pppoe-passthrogh ",
        "echo \"1 2 * * * nvram_set RadioOff 0; reboot\" >> /etc/admin",
        "arp -an | grep \"($(reboot))\"", "arp -an | grep \"(1)\" | sh",
        "kill -9 `ps -aef | grep \"mini_httpd -p \\` -SP 1\" | grep -v grep | awk '{print $1}'`",
        "/bin/super_dmz  -t 1 2  1>/dev/null 2>&1"}) {
    EXPECT_FALSE(passes(line)) << line;
  }
  // Reading a producer's output is not running it for its effect.
  EXPECT_TRUE(orba::fuzz::libraryCommands().passes("top -n 1 | grep '^CPU' ", true));
  EXPECT_FALSE(passes("top -n 1 | grep '^CPU' "));
}

TEST(Oracle, HarmlessLines) {
  EXPECT_EQ(sim::withoutData("a -b 'c d'\\''e' \"f $g\" >h"), "a -b xxxxx xx$x >h");
}

// Whatever byte the library would forget to quote, playing a situation shows it.
TEST(Oracle, FindsEveryLeak) {
  const std::string plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
      "_@%+=:,./-";
  for (int c = 1; c < 256; c++) {
    if (plain.find(static_cast<char>(c)) != std::string::npos) continue;
    const orba::fuzz::Situation situation = {
        {"*", std::string("23") + static_cast<char>(c) + "x", {}},
        {"@serviceCtl_restart", "", {"2"}}};
    leaking = '\0';
    EXPECT_THAT(orba::fuzz::play(situation).findings, testing::IsEmpty()) << c;
    leaking = static_cast<char>(c);
    EXPECT_THAT(orba::fuzz::play(situation).findings, testing::SizeIs(1)) << c;
  }
}

TEST(Situation, ReadsWhatItPrints) {
  const std::string text =
      "# left out\nnothing\nKey=a\\\\b\\n\\x01\\xff\\z00c \n[2]\n@getIfIp e\\x20th \"\"\n!console\n"
      "!refuse=/a\n/f=x=y\n=z\n";
  const auto situation = orba::fuzz::readSituation(text);
  ASSERT_EQ(situation.size(), 6u);
  EXPECT_EQ(situation[0].value, "a\\b\n\x01\xff" + std::string(12, '\0') + " ");
  EXPECT_THAT(situation[2].words, testing::ElementsAre("e th", ""));
  EXPECT_EQ(orba::fuzz::print(situation),
            text.substr(text.find("Key"), text.rfind("=z") - text.find("Key")));
  for (const auto &line : orba::fuzz::usualSituation()) {
    const auto again = orba::fuzz::readSituation(orba::fuzz::print({line}));
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0].key, line.key);
    EXPECT_EQ(again[0].value, line.value) << line.key;
  }
}
