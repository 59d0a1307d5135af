// Bringing up the Internet connection and the management servers.
#include <cctype>

#include "core/command.h"
#include "core/file.h"
#include "core/pause.h"
#include "core/setting.h"
#include "core/shell_word.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kWanIndexFile[] = "/tmp/wan_index";
constexpr int kSecurityLed = 13;

unsigned int reduce_boot_time;  // read by others; nothing here uses it

// Runs the WAN script for the connection that was set up, or the default one.
void runInternetScript() {
  File file(openOurs(kWanIndexFile));
  int index = 0;
  if (file && fscanf(file.get(), "%d", &index) != 1) index = 0;
  if (index != 0) {
    doSystem("internetSetWAN.sh %d", index);
  } else {
    doSystem("internet.sh");
  }
  if (!file) return;
  file.close();
  doSystem("rm /tmp/wan_index");
}

// At the end of the start-up the wireless interfaces leave the LAN bridge and
// the client link is off.
constexpr char kLeaveTheBridge[] =
    "brctl delif br0 ra0\n"
    "brctl delif br0 ra1\n"
    "brctl delif br0 ra2\n"
    "brctl delif br0 ra3\n"
    "brctl delif br0 apcli0\n"
    "iwpriv apcli0 set ApCliEnable=0\n";

// A port as a shell takes it: the blanks around it are no part of it.
class Port : public Text<32> {
 public:
  explicit Port(const char *key) {
    const char *port = setting(key).text();
    while (isspace(static_cast<unsigned char>(*port)) != 0) port++;
    size_t length = strlen(port);
    while (length > 0 && isspace(static_cast<unsigned char>(port[length - 1])) != 0) length--;
    append(port, length);
  }
  int number() const { return toNumber(text()); }
};

// The new server is started before the old one, which the old ports identify,
// is stopped; without a change the start is issued all the same and finds its
// port taken.
void restartWebServer() {
  Port http("RMWWWServerPort"), old_http("RMWWWOldServerPort");
  Port https("RMHTTPSServerPort"), old_https("RMHTTPSOldServerPort");
  doSystem("mini_httpd -p %s -SP %s -C /etc_ro/mini_httpd.conf &", ShellWord(http.text()).text(),
           ShellWord(https.text()).text());
  if (http.number() == old_http.number() && https.number() == old_https.number()) return;
  // The ports stand inside the command's own quotes, where no other quoting
  // holds; no server runs on ports that would need it.
  if (!ShellWord::isPlain(old_http.text()) || !ShellWord::isPlain(old_https.text())) return;
  doSystem("kill -9 `ps -aef | grep \"mini_httpd -p %s -SP %s\" | grep -v grep | awk '{print $1}'`",
           old_http.text(), old_https.text());
}

void restartTelnetServer() {
  doSystem("killall -q telnetd");
  doSystem("telnetd -p %s", ShellWord(setting("RMTELNETServerPort").text()).text());
}

int startLogger() {
  Setting remote = storedSetting("RemoteLogActive");
  Setting host = storedSetting("RemoteLogIP");
  if (remote.is("1") && !host.empty() && !host.is("0.0.0.0")) {
    return doSystem("syslogd -C8 -l 4 -L -R %s 1>/dev/null 2>&1", ShellWord(host.text()).text());
  }
  return doSystem("syslogd -C8 -l 4 1>/dev/null 2>&1");
}

}  // namespace

}  // namespace orba

using namespace orba;

int initInternet(void) {
  Setting security = setting("AuthMode");
  runInternetScript();
  ledAlways(kSecurityLed, security.isOneOf("Disable", "OPEN") ? 0 : 1);
  restart8021XDaemon(kMainSpace);
  igmpHWSnoopingRule();
  management_init();
  return 0;
}

int management_init(void) {
  doSystem("mcl.sh");
  doSystem("dropbear.sh");
  doSystem("killall -q udpsvd");
  doSystem("udpsvd -Ev 0 69 tftpd&");
  serviceCtl_restart(1);  // no service has this number
  doSystem("ntp.sh");
  WPSRestart();
  doSystem("killall -q syslogd");
  doSystem("syslogd -C8 1>/dev/null 2>&1");
  return runAllDirectly(kLeaveTheBridge);
}

void serviceCtl_restart(int which) {
  if (which == 0) restartWebServer();
  if (which == 2) restartTelnetServer();
}

int startlog_init(void) {
  doSystem("killall -q syslogd");
  return startLogger();
}

int clearlog(void) {
  doSystem("killall -q syslogd");
  pauseFor(1);  // the old logger gives its ring back, and with it the log
  return startLogger();
}

int restartnmbd(void) {
  doSystem("killall -9 nmbd");
  return doSystem("netbiosservice.sh tuvaksetup home");
}

int restartAvahid(void) {
  doSystem("killall -9 avahi-daemon");
  return doSystem("avahi-daemon &");
}

void setReduceBootTimeFlag(unsigned int flag) {
  reduce_boot_time = flag;
}
