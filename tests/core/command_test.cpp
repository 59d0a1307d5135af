// Running commands, and what becomes of their text.
#include "core/command.h"

#include <gmock/gmock.h>

#include <fstream>

#include "core/shell_word.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Runners, AppendTheirRedirectionAndCountTheFormattedText) {
  sim::Device device;
  EXPECT_EQ(doSystem("echo %d", 5), 6);
  EXPECT_EQ(doSystemWithoutConsole("echo %d", 5), 6);
  EXPECT_EQ(doSystemBackGround("sleep 1"), 7);
  EXPECT_EQ(orba::runDirectly("brctl addif br0 %s", "ra0"), 19);
  EXPECT_EQ(orba::runAll("echo 6\nls\n"), 2);
  EXPECT_EQ(orba::runAllDirectly("echo %d\0no more"), 7);  // the last newline may be missing
  EXPECT_THAT(device.shellLines(),
              ElementsAre("echo 5 1>/dev/null 2>&1", "echo 5 1>/dev/null 2>&1",
                          "sleep 1 1>/dev/null 2>&1 &", "brctl addif br0 ra0",
                          "echo 6 1>/dev/null 2>&1", "ls 1>/dev/null 2>&1", "echo %d"));
  EXPECT_EQ(device.console(), "");
}

// 1,023 characters with the redirection still run; one more and a rule could
// lose its end.
TEST(Runners, RefuseALineThatDoesNotFit) {
  sim::Device device;
  std::string redirection = " 1>/dev/null 2>&1";
  std::string fits(1023 - redirection.size(), 'x');
  EXPECT_EQ(doSystem("%s", fits.c_str()), static_cast<int>(fits.size()));
  EXPECT_EQ(doSystem("%sy", fits.c_str()), static_cast<int>(fits.size()) + 1);
  EXPECT_EQ(doSystem("iptables -A %s", std::string(5000, 'z').c_str()), 5012);
  EXPECT_THAT(device.shellLines(), ElementsAre(fits + redirection));
  EXPECT_THAT(device.console(), HasSubstr("command too long, not run: iptables -A zzz"));
}

TEST(ShellWord, LeavesOrdinaryTextAloneAndQuotesTheRest) {
  const std::pair<const char *, const char *> words[] = {
      {"", ""},
      {"192.168.1.0/24", "192.168.1.0/24"},
      {"aA0_@%+=:,./-", "aA0_@%+=:,./-"},
      {"a b", "'a b'"},
      {"it's", "'it'\\''s'"},
      {"-f/dev/zero", "''-f/dev/zero"},
      {"-", "''-"},
      {"-a 'b", "''-'a '\\''b'"},
  };
  for (const auto &[value, word] : words) EXPECT_STREQ(orba::ShellWord(value).text(), word);
}

// Each byte alone, within a word and in front of it, as real shells hand it on.
TEST(ShellWord, IsOneWordOfRealShells) {
  std::string script = "printf '%s\\0'", expected;
  for (int c = 1; c < 256; c++) {
    const std::string byte(1, static_cast<char>(c));
    for (const std::string &value : {byte, "a" + byte + "b", byte + "$(id)`id`'\"\n"}) {
      script += std::string(" ") + orba::ShellWord(value.c_str()).text();
      expected += value + '\0';
    }
  }
  const std::string path = testing::TempDir() + "words" + std::to_string(getpid());
  std::ofstream(path) << script << "\n";
  for (const std::string shell : {"sh", "dash", "bash", "busybox sh"}) {
    if (std::system(("command -v " + shell + " >/dev/null").c_str()) != 0) continue;
    FILE *pipe = popen((shell + " " + path).c_str(), "r");
    std::string words;
    for (int c; (c = getc(pipe)) != EOF;) words += static_cast<char>(c);
    pclose(pipe);
    EXPECT_EQ(words, expected) << shell;
  }
  remove(path.c_str());
}

TEST(Runners, RefuseALineWithAnOptionForAValue) {
  sim::Device device;
  device.file("/etc/iproute2/rt_tables", "");
  doSystem("iptables -A DMZ -i %s -d %s", orba::ShellWord("").text(),
           orba::ShellWord("--modprobe=/x").text());
  orba::runDirectly("arp -d %s", orba::ShellWord("-a b").text());
  orba::runIntoFile("/tmp/x", "grep %s", orba::ShellWord("-f").text());
  EXPECT_EQ(reedSwitchReg("-w"), -1);
  doPolicyRoutingAction("", "", "0", "", "-1", "", "-x", "-name", 1, 0);
  const std::string trace = "command with an option for a value, not run: ",
                    quiet = " 1>/dev/null 2>&1";
  EXPECT_EQ(device.console(), trace + "iptables -A DMZ -i  -d ''--modprobe=/x" + quiet + "...\n" +
                                  trace + "arp -d ''-'a b'...\n" +  //
                                  trace + "grep ''-f > /tmp/x" + quiet + "...\n" + trace +
                                  "switch reg r ''-w...\n" +  //
                                  trace +
                                  "ip route del default  via  dev ''-x table pf_-name...\n");
  EXPECT_THAT(device.commands(), ElementsAre(HasSubstr("ebtables -D Policy_Route "),
                                             testing::EndsWith(" table pf_-name")));

  // No other value looks like one, whatever stands in it.
  for (int number = 0; number < 4096; number++) {
    std::string value;
    for (int i = 0; i < 6; i++) value += " '-a"[number >> 2 * i & 3];
    const std::string line = " " + std::string(orba::ShellWord(value.c_str()).text()) + " -";
    EXPECT_EQ(line.find(orba::ShellWord::kOption) == 0, value[0] == '-') << value;
    EXPECT_EQ(line.find(orba::ShellWord::kOption, 1), std::string::npos) << value;
  }
}

TEST(ShellWord, TooLongToQuoteKeepsItsCommandFromRunning) {
  for (char filling : {'\'', ';', 'x'}) {
    sim::Device device;
    doSystem("echo %s", orba::ShellWord(std::string(1010, filling).c_str()).text());
    EXPECT_THAT(device.commands(), IsEmpty()) << filling;
  }
}

// Behind the runner's redirection the shell makes the file and loses the text.
TEST(IntoFile, TextReachesTheFileOnce) {
  sim::Device device;
  device.file("/proc/sys/net/ipv4/tcp_syncookies", "0\n").file("/tmp/list", "first\n");
  orba::runIntoFile("/proc/sys/net/ipv4/tcp_syncookies", "echo %d", 1);
  orba::appendToFile("/tmp/list ", "echo \"a > b\"");
  EXPECT_EQ(device.text("/proc/sys/net/ipv4/tcp_syncookies"), "1\n");
  EXPECT_EQ(device.text("/tmp/list"), "first\na > b\n");
  EXPECT_THAT(device.shellLines(),
              ElementsAre("echo 1 > /proc/sys/net/ipv4/tcp_syncookies 1>/dev/null 2>&1",
                          "echo \"a > b\" >> /tmp/list  1>/dev/null 2>&1"));
  EXPECT_THAT(device.pipes(), ElementsAre("echo 1 ", "echo \"a > b\" "));

  const std::string load(513, 't');  // a byte more than is copied at once
  device.answer("top", load);
  orba::runIntoFile("/var/cpuload", "top -n 1");
  EXPECT_EQ(device.text("/var/cpuload"), load);
}

TEST(IntoFile, AFileThatCannotBeWrittenHurtsNobody) {
  sim::Device device;
  device.refuse("/etc/admin").unstartable("top");
  orba::appendToFile("/etc/admin", "echo x");
  orba::runIntoFile("/var/cpuload", "top -n 1");
  EXPECT_EQ(device.text("/etc/admin"), std::nullopt);
  EXPECT_EQ(device.text("/var/cpuload"), "");

  // No shell could be started for the line: what stood in the file does not pass for its text.
  device.file("/tmp/number", "12345\n");
  device.faults().fail(3, sim::Faults::kOnce);
  orba::runIntoFile("/tmp/number", "echo 7");
  EXPECT_THAT(device.faults().failed(), ElementsAre("system"));
  EXPECT_EQ(device.text("/tmp/number"), "7\n");
}

TEST(Debug, WritesToTheConsoleOrNowhere) {
  sim::Device device;
  EXPECT_EQ(debug("WAN %d\n", 2), 6);
  EXPECT_EQ(debug("%s", std::string(5000, 'x').c_str()), 5000);
  EXPECT_EQ(device.console(), "WAN 2\n" + std::string(4095, 'x'));
  device.forget();
  device.withoutConsole();
  EXPECT_EQ(debug("WAN %d\n", 2), 6);
  EXPECT_THAT(device.events(), IsEmpty());
}

TEST(SharedUtilities, AnswerAsTheirCallersExpect) {
  sim::Device device;
  EXPECT_STREQ(racat("SSID", 0), "SSID0");
  EXPECT_STREQ(racat("WscSSID", 12), "WscSSID12");
  EXPECT_STREQ(racat(std::string(40, 'k').c_str(), 3), std::string(31, 'k').c_str());

  EXPECT_EQ(readHttpdPid(), 0);
  device.file("/var/run/mini_httpd.pid", "no number");
  EXPECT_EQ(readHttpdPid(), 0);
  device.file("/var/run/mini_httpd.pid", "4711\n");
  EXPECT_EQ(readHttpdPid(), 4711);

  char text[12];
  EXPECT_EQ(getRefreshInfo(text), 1);
  EXPECT_STREQ(text, "0");
  refresh_info = -2147483647 - 1;
  EXPECT_EQ(getRefreshInfo(text), 1);
  EXPECT_STREQ(text, "-2147483648");
  refresh_info = 0;
  EXPECT_EQ(getOnePortOnly(), 0);
}
