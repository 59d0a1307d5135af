// The start-up in order, and the restart of single services.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/leds.h"

using testing::ElementsAre;

// The transcript of a gateway's start shows all that it runs.
TEST(StartUp, TakesTheWanThatWasSetUp) {
  const char *const kCases[][3] = {{"2", "internetSetWAN.sh 2", "OPEN"},
                                   {"0", "internet.sh", "Disable"},
                                   {"no number", "internet.sh", ""}};
  for (const auto &[content, script, security] : kCases) {
    sim::Device device;
    device.file("/tmp/wan_index", content);
    device.part<sim::Leds>();
    device.settings({{"OperationMode", "1"}, {"WscModeOption", "0"}, {"AuthMode", security}});
    EXPECT_EQ(initInternet(), 0);
    EXPECT_EQ(device.commands().size(), 18u);
    EXPECT_EQ(device.commands()[0], script);
    EXPECT_EQ(device.commands()[1], "rm /tmp/wan_index");
    EXPECT_EQ(device.requests().front(),
              *security == '\0' ? "led 13: 4000 0 1 1 4000" : "led 13: 0 4000 1 1 4000");
    // Only the bridge clean-up goes to the shell without the redirection.
    size_t bare = 0;
    for (const std::string &line : device.shellLines()) bare += line.find("/dev/null") == line.npos;
    EXPECT_EQ(bare, 6u);
    EXPECT_EQ(device.text("/tmp/wan_index"), std::nullopt);
  }
}

TEST(WebServer, StartsTheNewOneBeforeTheOldOneIsKilled) {
  sim::Device device;
  device.buffered({{"RMWWWServerPort", "80"},
                   {"RMWWWOldServerPort", "080"},
                   {"RMHTTPSServerPort", "443"},
                   {"RMHTTPSOldServerPort", "443"}});
  const std::string start = "mini_httpd -p 80 -SP 443 -C /etc_ro/mini_httpd.conf &";
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(), ElementsAre(start));  // the same number: nothing to kill

  device.forget();
  device.buffered({{"RMWWWServerPort", "80 "}, {"RMHTTPSOldServerPort", " 8443\t"}});
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(),
              ElementsAre(start,
                          "kill -9 `ps -aef | grep \"mini_httpd -p 080 -SP 8443\" | grep -v "
                          "grep | awk '{print $1}'`"));

  // Inside the quotes of that command no value can be made harmless.
  device.forget();
  device.buffered({{"RMHTTPSOldServerPort", "8443`touch X`"}});
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(), ElementsAre(start));
}

TEST(Logger, LogsToAHostThatIsOne) {
  const char *const kCases[][3] = {
      {"", "10.0.0.9", ""},
      {"1", "", ""},
      {"1", "0.0.0.0", ""},
      {"1", "10.0.0.9", " -L -R 10.0.0.9"},
  };
  for (const auto &[active, host, remote] : kCases) {
    sim::Device device;
    // Not before they are committed.
    device.buffered({{"RemoteLogActive", "1"}, {"RemoteLogIP", "10.9.9.9"}});
    if (*active != '\0') device.settings({{"RemoteLogActive", active}});
    if (*host != '\0') device.settings({{"RemoteLogIP", host}});
    startlog_init();
    EXPECT_EQ(device.clock().elapsed(), 0);
    clearlog();
    EXPECT_EQ(device.clock().elapsed(), 1000);
    std::string start = std::string("syslogd -C8 -l 4") + remote + " 1>/dev/null 2>&1";
    EXPECT_THAT(device.commands(),
                ElementsAre("killall -q syslogd", start, "killall -q syslogd", start));
  }
}
