// The table names on real file systems: each situation in a process and a mount
// namespace of its own, where the library calls the real system and only `ip`
// and `ebtables` are stand-ins that note their names.
#include "net/policy_table_names.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "orba_util.h"

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/etc/iproute2";
constexpr char kTables[] = "/etc/iproute2/rt_tables";
constexpr char kOld[] = "254 main\n202 pf_office\n1 mine\n";

void put(const std::string &path, const std::string &content, mode_t mode = 0644) {
  std::ofstream(path) << content;
  chmod(path.c_str(), mode);
}

std::string textOf(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// An /etc of this process alone, with an empty folder for the names.
bool makeOwnEtc() {
  if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", "/etc", "tmpfs", 0, "size=1m") != 0) {
    return false;
  }
  fs::create_directories("/etc/iproute2");
  fs::create_directories("/etc/settings");
  fs::create_directories("/etc/bin");
  for (const char *program : {"ip", "ebtables"}) {
    put(std::string("/etc/bin/") + program, "#!/bin/sh\necho ${0##*/} $1 >>/etc/ran\n", 0755);
  }
  setenv("ORBA_NVRAM_DIR", "/etc/settings", 1);
  setenv("PATH", ("/etc/bin:" + std::string(getenv("PATH"))).c_str(), 1);
  return true;
}

struct stat statusOf(const char *path) {
  struct stat status {};
  EXPECT_EQ(lstat(path, &status), 0);
  return status;
}

// Removes a name and adds another one, which is to change these lines only.
void expectEdited() {
  struct stat before = statusOf(kTables);
  doPolicyRoutingRemove(202, "office");
  EXPECT_EQ(textOf(kTables), "254 main\n1 mine\n");
  doPolicyRoutingAction("", "", "0", "", "-1", "WAN", "br0", "home", 2, 1);
  EXPECT_EQ(textOf(kTables), "254 main\n1 mine\n203 pf_home\n");
  EXPECT_EQ(textOf("/etc/ran"), "ebtables -A\nip rule\nip route\n") << "the route is installed";
  struct stat after = statusOf(kTables);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_FALSE(fs::exists("/etc/iproute2/rt_tables.new"));
}

// Runs a situation in a process of its own.
void inOwnEtc(void (*situation)()) {
  constexpr int kNoNamespace = 77;
  pid_t child = fork();
  if (child == 0) {
    alarm(60);
    if (!makeOwnEtc()) _exit(kNoNamespace);
    situation();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoNamespace) {
    GTEST_SKIP() << "no mounts of its own for a process here";
  }
  EXPECT_EQ(status, 0);
}

void bindMount(const char *what, const char *where, unsigned long flags = 0) {
  ASSERT_EQ(mount(what, where, "", MS_BIND, nullptr), 0);
  if (flags != 0) {
    ASSERT_EQ(mount("", where, "", MS_BIND | MS_REMOUNT | flags, nullptr), 0);
  }
}

}  // namespace

TEST(RealTableNames, KeepOwnerGroupAndMode) {
  inOwnEtc([] {
    put(kTables, kOld, 0664);
    ASSERT_EQ(chown(kTables, 12, 34), 0);
    put("/etc/iproute2/rt_tables.new", "left by an interrupted run\n");
    expectEdited();
  });
}

TEST(RealTableNames, AreEditedWhereTheFileIsAMount) {
  inOwnEtc([] {
    put("/etc/tables", kOld);
    put(kTables, "");
    bindMount("/etc/tables", kTables);
    expectEdited();
    EXPECT_EQ(textOf("/etc/tables"), textOf(kTables));
  });
}

TEST(RealTableNames, AreEditedInAReadOnlyFolder) {
  inOwnEtc([] {
    put("/etc/tables", kOld);
    put(kTables, "");
    bindMount(kFolder, kFolder, MS_RDONLY);
    bindMount("/etc/tables", kTables);
    expectEdited();
  });
}

TEST(RealTableNames, AreEditedInAFullFolder) {
  inOwnEtc([] {
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, "nr_inodes=2"), 0);
    put(kTables, kOld);
    expectEdited();
  });
  inOwnEtc([] {
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, "size=8k"), 0);
    put(kTables, kOld);
    put("/etc/iproute2/filler", std::string(8192, 'x'));
    expectEdited();
    // Not one byte is left: nothing is named, nothing is lost, nothing is installed.
    fs::remove("/etc/ran");
    const std::string full = std::string(4090, '#') + "\n5 a\n";
    fs::remove("/etc/iproute2/filler");
    put(kTables, full);
    put("/etc/iproute2/filler", std::string(8192, 'x'));
    doPolicyRoutingAction("", "", "0", "", "-1", "WAN", "br0", "home", 2, 1);
    EXPECT_EQ(textOf(kTables), full);
    EXPECT_FALSE(fs::exists("/etc/ran"));
  });
}

TEST(RealTableNames, StayBehindTheirLinks) {
  inOwnEtc([] {
    put("/etc/tables", kOld);
    fs::create_symlink("../tables", kTables);
    expectEdited();
    EXPECT_TRUE(fs::is_symlink(kTables));
    EXPECT_EQ(textOf("/etc/tables"), textOf(kTables));
  });
  inOwnEtc([] {
    put("/etc/tables", kOld);
    fs::create_hard_link("/etc/tables", kTables);
    expectEdited();
    EXPECT_EQ(textOf("/etc/tables"), textOf(kTables));
  });
}

TEST(RealTableNames, KeepAnOwnerThatTheirEditorCannotGive) {
  inOwnEtc([] {
    put(kTables, kOld, 0666);
    chmod(kFolder, 0777);
    put("/etc/ran", "", 0666);
    ASSERT_EQ(setgid(65534), 0);
    ASSERT_EQ(setuid(65534), 0);
    expectEdited();
  });
}

// Several processes that edit the names lose none, and a stranger who holds the
// lock does not hold them up for ever.
TEST(RealTableNames, AreSharedByTheirEditors) {
  inOwnEtc([] {
    put(kTables, "254 main\n");
    std::vector<pid_t> editors;
    for (int number = 301; number < 304; number++) {
      editors.push_back(fork());
      if (editors.back() != 0) continue;
      for (int i = 0; i < 4000; i++) {
        orba::removeTableName(number, "x");
        orba::addTableName(number, "x");
      }
      _exit(0);
    }
    for (pid_t editor : editors) waitpid(editor, nullptr, 0);
    std::multiset<std::string> lines;
    std::ifstream file(kTables);
    for (std::string line; std::getline(file, line);) lines.insert(line);
    EXPECT_THAT(lines, testing::ElementsAre("254 main", "301 pf_x", "302 pf_x", "303 pf_x"));
  });
  inOwnEtc([] {
    put(kTables, kOld);
    EXPECT_EQ(flock(open(kFolder, O_RDONLY | O_CLOEXEC), LOCK_EX), 0);
    expectEdited();
  });
}
