// The start-up in order, and the restart of single services.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

const std::vector<std::string> kManagement = {
    "mcl.sh",
    "dropbear.sh",
    "killall -q udpsvd",
    "udpsvd -Ev 0 69 tftpd&",
    "ntp.sh",
    // WPS, disabled in these settings
    "rm -rf /var/run/wscd.pid.ra0",
    "iwpriv ra0 set WscConfMode=0",
    "route delete 239.255.255.250 1>/dev/null 2>&1",
    "killall -q syslogd",
    "syslogd -C8 1>/dev/null 2>&1",
    "brctl delif br0 ra0",
    "brctl delif br0 ra1",
    "brctl delif br0 ra2",
    "brctl delif br0 ra3",
    "brctl delif br0 apcli0",
    "iwpriv apcli0 set ApCliEnable=0",
};

// Starts up and expects these commands and then the management servers', and
// these only.
void expectStartUp(sim::Device &device, std::vector<std::string> expected) {
  device.settings({{"OperationMode", "1"}, {"WscModeOption", "0"}});
  EXPECT_EQ(initInternet(), 0);
  expected.insert(expected.end(), kManagement.begin(), kManagement.end());
  EXPECT_THAT(device.commands(), ElementsAreArray(expected));
}

}  // namespace

TEST(StartUp, RunsEverythingInOrder) {
  sim::Device device;
  device.settings({{"AuthMode", "WPA2"}, {"BssidNum", "1"}});
  expectStartUp(device, {"internet.sh", "killall rt2860apd 1>/dev/null 2>&1", "rt2860apd"});
  // Only the bridge clean-up goes to the shell without the redirection.
  std::vector<std::string> lines = device.shellLines();
  size_t redirected = 0;
  for (const std::string &line : lines)
    redirected += line.find("1>/dev/null 2>&1") != std::string::npos;
  EXPECT_EQ(lines.size() - redirected, 6u);
}

TEST(StartUp, TakesTheWanThatWasSetUp) {
  for (const auto &[content, script] : std::map<std::string, std::string>{
           {"2", "internetSetWAN.sh 2"}, {"0", "internet.sh"}, {"no number", "internet.sh"}}) {
    sim::Device device;
    device.file("/tmp/wan_index", content);
    expectStartUp(device, {script, "rm /tmp/wan_index"});
    EXPECT_EQ(device.text("/tmp/wan_index"), std::nullopt);
  }
}

TEST(WebServer, StartsTheNewOneBeforeTheOldOneIsKilled) {
  sim::Device device;
  device.settings({{"RMWWWServerPort", "80"},
                   {"RMWWWOldServerPort", "080"},
                   {"RMHTTPSServerPort", "443"},
                   {"RMHTTPSOldServerPort", "443"}});
  const std::string start = "mini_httpd -p 80 -SP 443 -C /etc_ro/mini_httpd.conf &";
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(), ElementsAre(start));  // the same number: nothing to kill

  device.forget();
  device.settings({{"RMHTTPSOldServerPort", "8443"}});
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(),
              ElementsAre(start,
                          "kill -9 `ps -aef | grep \"mini_httpd -p 080 -SP 8443\" | grep -v "
                          "grep | awk '{print $1}'`"));

  // Inside the quotes of that command no value can be made harmless.
  device.forget();
  device.settings({{"RMHTTPSOldServerPort", "8443`touch X`"}});
  serviceCtl_restart(0);
  EXPECT_THAT(device.commands(), ElementsAre(start));
}

TEST(Services, RestartOneByOne) {
  sim::Device device;
  device.settings({{"RMTELNETServerPort", "2323"}});
  serviceCtl_restart(2);
  serviceCtl_restart(1);
  serviceCtl_restart(3);
  restartnmbd();
  restartAvahid();
  EXPECT_THAT(device.commands(), ElementsAre("killall -q telnetd", "telnetd -p 2323",
                                             "killall -9 nmbd", "netbiosservice.sh tuvaksetup home",
                                             "killall -9 avahi-daemon", "avahi-daemon &"));
}

TEST(Logger, LogsToAHostThatIsOne) {
  struct {
    sim::Settings settings;
    const char *start;
  } rows[] = {
      {{}, "syslogd -C8 -l 4 1>/dev/null 2>&1"},
      {{{"RemoteLogActive", "1"}}, "syslogd -C8 -l 4 1>/dev/null 2>&1"},
      {{{"RemoteLogActive", "1"}, {"RemoteLogIP", "0.0.0.0"}}, "syslogd -C8 -l 4 1>/dev/null 2>&1"},
      {{{"RemoteLogActive", "0"}, {"RemoteLogIP", "10.0.0.9"}},
       "syslogd -C8 -l 4 1>/dev/null 2>&1"},
      {{{"RemoteLogActive", "1"}, {"RemoteLogIP", "10.0.0.9"}},
       "syslogd -C8 -l 4 -L -R 10.0.0.9 1>/dev/null 2>&1"},
      {{{"RemoteLogActive", "1"}, {"RemoteLogIP", "a;b"}},
       "syslogd -C8 -l 4 -L -R 'a;b' 1>/dev/null 2>&1"},
  };
  for (const auto &row : rows) {
    sim::Device device;
    device.settings(row.settings);
    startlog_init();
    EXPECT_EQ(device.clock().elapsed(), 0);
    clearlog();
    EXPECT_EQ(device.clock().elapsed(), 1000);
    EXPECT_THAT(device.commands(),
                ElementsAre("killall -q syslogd", row.start, "killall -q syslogd", row.start));
  }
}
