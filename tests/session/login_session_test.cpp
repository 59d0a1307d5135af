// A login from the server's start to the logout, as its processes see it.
#include <cstdlib>
#include <cstring>

#include "session/processes.h"

namespace {

class LoginSession : public LoginDevice {
 protected:
  void logIn(const char *user, int status) {
    strncpy(global_shared_stuff.login_user, user, sizeof global_shared_stuff.login_user);
    global_shared_stuff.login_status = status;
  }

  // The number the next session gets at this moment of the device.
  std::string nextSessionFile() {
    srand(static_cast<unsigned>(device_.clock().nanoseconds()));
    return "/var/SESS_" + std::to_string(rand());
  }
};

TEST_F(LoginSession, IsSharedFromLoginToLogout) {
  EXPECT_EQ(glb_loginStatus | session_id | exitOnIdleTimeout, 0);
  EXPECT_EQ(std::string(glb_loginUser) + sessionFileName, "");
  ASSERT_EQ(init_SharedMemory(), 0);
  EXPECT_TRUE(othersSee(""));
  ASSERT_EQ(sync_globalVar_and_sharedMem(0), 0);
  EXPECT_STREQ(global_shared_stuff.status_text, "Ready");

  device_.advance(123);
  std::string first = nextSessionFile();
  logIn("admin", 3);
  global_shared_stuff.tail = 77;
  EXPECT_EQ(writeSessionFile("192.168.1.2"), 0);
  EXPECT_EQ(global_shared_stuff.session_file, first);
  EXPECT_EQ(first, "/var/SESS_" + std::to_string(global_shared_stuff.session_id));
  EXPECT_EQ(device_.text(first), "admin 3 192.168.1.2");
  EXPECT_TRUE(othersSee("admin"));

  device_.advance(456);
  std::string second = nextSessionFile();
  logIn("guest", -1);
  EXPECT_EQ(writeSessionFile(""), 0);
  EXPECT_FALSE(device_.text(first));
  EXPECT_EQ(device_.text(second), "guest -1 ");

  // A logout is seen when it is published, and leaves the file's name behind.
  EXPECT_EQ(tuLogout(), &global_shared_stuff);
  EXPECT_FALSE(device_.text(second));
  EXPECT_TRUE(othersSee("guest"));
  EXPECT_EQ(sync_globalVar_and_sharedMem(1), 0);
  EXPECT_TRUE(othersSee(""));
  orba_login_record left{};
  init_SharedMemoryVar(&left);
  strcpy(left.session_file, second.c_str());
  left.tail = 77;
  EXPECT_EQ(memcmp(tuLogout(), &left, sizeof left), 0);
}

TEST_F(LoginSession, DoesNotNeedItsFile) {
  device_.refuse(nextSessionFile());
  logIn("admin", 1);
  EXPECT_EQ(writeSessionFile("192.168.1.2"), 0);
  EXPECT_TRUE(othersSee("admin"));
  EXPECT_EQ(init_SharedMemory(), 0) << "a new start resets what is there";
  EXPECT_TRUE(othersSee(""));
}

TEST_F(LoginSession, FollowsNoLinkUnderItsFilesNameAndGivesNoLaterNumberAway) {
  device_.file("/etc/passwd", "root").file("/dev/urandom", std::string(4, '\x42'));
  std::string name = nextSessionFile();
  std::string target = device_.root().forReading("/etc/passwd");
  ASSERT_EQ(symlink(target.c_str(), device_.root().forWriting(name).c_str()), 0);
  EXPECT_EQ(writeSessionFile("x"), 0);
  int following = rand();
  EXPECT_EQ(device_.text("/etc/passwd"), "root");
  EXPECT_EQ(device_.text(name), " 0 x");
  srand(0x42424242);
  EXPECT_EQ(following, rand());
}

TEST_F(LoginSession, CutsFieldsThatTheServerLeftWithoutAnEnd) {
  memset(&global_shared_stuff, 'u', sizeof global_shared_stuff);
  std::string file = nextSessionFile();
  EXPECT_EQ(writeSessionFile("x"), 0);
  std::string user(31, 'u');
  EXPECT_EQ(device_.text(file), user + " 1970632053 x");
  char name[32];
  EXPECT_EQ(getLoginUser(name), 1);
  EXPECT_EQ(name, user);
}

TEST(ProtectedPage, DependsOnTheLevel) {
  const struct {
    const char *url;
    int root, other;
  } kCases[] = {
      {"/Configuration/WLAN/wlan_advance.asp", 1, 1},
      {"/Configuration/WLAN/wlan_advance.", 1, 1},
      {"/Configuration/WLAN/wlan_advanced", 0, 0},
      {"/Configuration/WLAN/wlan_wps.asp", 1, 0},
      {"/goform/Configuration/WANtastic?next=1", 0, 1},
      {"/Configuration/LAN/ipAliases.asp", 1, 1},
      {"/Configuration/RemoteMGMT.asp", 0, 1},
      {"/configuration/wan.asp", 0, 0},
      {"", 0, 0},
  };
  for (const auto &page : kCases) {
    EXPECT_EQ(isProtectedUrl(page.url, 1), page.root) << page.url;
    for (int level : {0, 2, -1}) EXPECT_EQ(isProtectedUrl(page.url, level), page.other) << page.url;
  }
}

TEST(ProtectedPage, IsOnListsThatOthersReadToo) {
  std::string pages, root;
  for (const char *page : accessControlPageList) pages += std::string(page) + " ";
  for (const char *page : accessControlPageListRoot) root += std::string(page) + " ";
  EXPECT_EQ(pages,
            "Monitor/SystemLog Monitor/WANInfo Monitor/DHCPClients Monitor/RoutingTable "
            "Configuration/WAN Configuration/LAN Configuration/DDNS Configuration/DnsRoute "
            "Configuration/NAT Configuration/Routing Configuration/VLAN "
            "Configuration/LAN/ipAliases Configuration/LAN/staticlease "
            "Configuration/LAN/dhcpadvanced Configuration/WLAN/wlan_advance. "
            "Configuration/RemoteMGMT Configuration/MCL Configuration/QoS "
            "Configuration/Firewall Maintenance/QuickSetup Maintenance/FirmwareUpgrade ");
  EXPECT_EQ(root,
            "Monitor/DHCPClients Monitor/RoutingTable Configuration/DDNS Configuration/DnsRoute "
            "Configuration/NAT Configuration/Routing Configuration/VLAN "
            "Configuration/LAN/ipAliases Configuration/LAN/staticlease "
            "Configuration/LAN/dhcpadvanced Configuration/WLAN/wlan_advance. "
            "Configuration/WLAN/wlan_wps. Configuration/RemoteMGMT/snmp Configuration/QoS "
            "Configuration/Firewall Maintenance/QuickSetup ");
}

}  // namespace
