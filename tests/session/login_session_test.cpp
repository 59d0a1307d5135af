// A login from the server's start to the logout, as its processes see it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "orba_util.h"
#include "session/processes.h"
#include "sim/device.h"
#include "sim/system_v.h"

namespace {

using sim::Device;
using sim::SystemV;
using testing::ElementsAre;

class LoginSession : public testing::Test {
 protected:
  LoginSession() {
    global_shared_stuff = {};
    alarm(100);  // ends this process when it is blocked
  }
  ~LoginSession() override { alarm(0); }

  void logIn(const char *user, int status) {
    strncpy(global_shared_stuff.login_user, user, sizeof global_shared_stuff.login_user);
    global_shared_stuff.login_status = status;
  }

  // The number the next session gets at this moment of the device.
  std::string nextSessionFile() {
    srand(static_cast<unsigned>(device_.clock().nanoseconds()));
    return "/var/SESS_" + std::to_string(rand());
  }

  // Who is logged in, to a process that has just been started.
  std::string userSeenByOthers() {
    std::string seen;
    for (const char *user : {"", "admin", "guest"}) {
      bool same = inAnotherProcess([=] {
        global_shared_stuff = {};
        char name[32] = "unwritten";
        return getLoginUser(name) == 1 && strcmp(name, user) == 0;
      });
      if (same) seen += std::string("[") + user + "]";
    }
    return seen;
  }

  Device device_;
};

TEST_F(LoginSession, IsSharedFromLoginToLogout) {
  ASSERT_EQ(init_SharedMemory(), 0);
  EXPECT_EQ(userSeenByOthers(), "[]");
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
  EXPECT_EQ(userSeenByOthers(), "[admin]");

  device_.advance(456);
  std::string second = nextSessionFile();
  logIn("guest", -1);
  EXPECT_EQ(writeSessionFile(""), 0);
  EXPECT_FALSE(device_.text(first));
  EXPECT_EQ(device_.text(second), "guest -1 ");

  // A logout is seen when it is published, and leaves the file's name behind.
  EXPECT_EQ(tuLogout(), &global_shared_stuff);
  EXPECT_FALSE(device_.text(second));
  EXPECT_EQ(userSeenByOthers(), "[guest]");
  EXPECT_EQ(sync_globalVar_and_sharedMem(1), 0);
  EXPECT_EQ(userSeenByOthers(), "[]");
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
  EXPECT_EQ(userSeenByOthers(), "[admin]");
  EXPECT_EQ(init_SharedMemory(), 0) << "a new start resets what is there";
  EXPECT_EQ(userSeenByOthers(), "[]");
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

TEST_F(LoginSession, FailsWithoutTouchingTheLocalCopy) {
  SystemV &kernel = device_.part<SystemV>();
  ASSERT_EQ(init_SharedMemory(), 0);
  logIn("admin", 1);
  orba_login_record before = global_shared_stuff;
  for (const char *call : {"shmget", "shmat", "semget", "semop"}) {
    kernel.refuse(call);
    EXPECT_EQ(sync_globalVar_and_sharedMem(0), 1) << call;
    EXPECT_EQ(sync_globalVar_and_sharedMem(1), 1) << call;
    EXPECT_EQ(memcmp(&global_shared_stuff, &before, sizeof before), 0) << call;
    kernel.refuseNothing();
  }
  for (const char *call : {"shmget", "shmat", "shmdt", "semget", "semctl"}) {
    kernel.refuse(call);
    EXPECT_EQ(init_SharedMemory(), 1) << call;
    kernel.refuseNothing();
  }
  EXPECT_EQ(userSeenByOthers(), "[]") << "none of the failures has published";
  kernel.refuse("shmdt");
  EXPECT_EXIT(sync_globalVar_and_sharedMem(0), testing::ExitedWithCode(1), "");
  EXPECT_EQ(device_.errors() + device_.printed() + device_.console(), "");
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
      {"/Configuration/WAN.asp", 0, 1},
      {"/goform/Configuration/WANtastic?next=1", 0, 1},
      {"/Configuration/LAN/ipAliases.asp", 1, 1},
      {"/Configuration/LAN.asp", 0, 1},
      {"/Configuration/RemoteMGMT.asp", 0, 1},
      {"/Configuration/RemoteMGMT/snmp.asp", 1, 1},
      {"/configuration/wan.asp", 0, 0},
      {"/Maintenance/FirmwareUpgrade.asp", 0, 1},
      {"/Maintenance/QuickSetup.asp", 1, 1},
      {"", 0, 0},
  };
  for (const auto &page : kCases) {
    EXPECT_EQ(isProtectedUrl(page.url, 1), page.root) << page.url;
    for (int level : {0, 2, -1}) EXPECT_EQ(isProtectedUrl(page.url, level), page.other) << page.url;
  }
  for (const char *page : accessControlPageList) EXPECT_EQ(isProtectedUrl(page, 0), 1) << page;
  for (const char *page : accessControlPageListRoot) EXPECT_EQ(isProtectedUrl(page, 1), 1) << page;
  EXPECT_STREQ(accessControlPageList[0], "Monitor/SystemLog");
  EXPECT_STREQ(accessControlPageList[20], "Maintenance/FirmwareUpgrade");
  EXPECT_STREQ(accessControlPageListRoot[11], "Configuration/WLAN/wlan_wps.");
  EXPECT_STREQ(accessControlPageListRoot[15], "Maintenance/QuickSetup");
}

TEST(ServerVariables, AreZeroAtFirst) {
  EXPECT_STREQ(glb_loginUser, "");
  EXPECT_STREQ(sessionFileName, "");
  EXPECT_THAT((std::vector<int>{glb_loginStatus, session_id, exitOnIdleTimeout}),
              ElementsAre(0, 0, 0));
}

}  // namespace
