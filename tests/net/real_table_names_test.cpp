// The table names on real file systems: each situation in a process and a mount
// namespace of its own, where the library calls the real system and only `ip`
// and `ebtables` are stand-ins that note their names.
#include "net/policy_table_names.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "orba_util.h"
#include "tests/own_world.h"

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/etc/iproute2";
constexpr char kTableNames[] = "/etc/iproute2/rt_tables";
constexpr char kOld[] = "254 main\n202 pf_office\n1 mine\n";

// With an empty folder for the names.
void makeEtc() {
  fs::create_directories("/etc/iproute2");
  fs::create_directories("/etc/settings");
  fs::create_directories("/etc/bin");
  for (const char *program : {"ip", "ebtables"}) {
    put(std::string("/etc/bin/") + program, "#!/bin/sh\necho ${0##*/} $1 >>/etc/ran\n", 0755);
  }
  setenv("ORBA_NVRAM_DIR", "/etc/settings", 1);
  setenv("PATH", ("/etc/bin:" + std::string(getenv("PATH"))).c_str(), 1);
}

struct stat statusOf(const char *path) {
  struct stat status {};
  EXPECT_EQ(lstat(path, &status), 0);
  return status;
}

// Removes a name and adds another one, which is to change these lines only.
void expectEdited() {
  struct stat before = statusOf(kTableNames);
  doPolicyRoutingRemove(202, "office");
  EXPECT_EQ(textOf(kTableNames), "254 main\n1 mine\n");
  doPolicyRoutingAction("", "", "0", "", "-1", "WAN", "br0", "home", 2, 1);
  EXPECT_EQ(textOf(kTableNames), "254 main\n1 mine\n203 pf_home\n");
  EXPECT_EQ(textOf("/etc/ran"), "ebtables -A\nip rule\nip route\n") << "the route is installed";
  struct stat after = statusOf(kTableNames);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_FALSE(fs::exists("/etc/iproute2/rt_tables.new"));
}

template <typename Situation>
void inOwnEtc(Situation situation) {
  inOwnWorld({"/etc"}, 0, [&] {
    makeEtc();
    situation();
  });
}

void mountAt(const char *where, const char *what, unsigned long flags = 0) {
  EXPECT_EQ(mount(what, where, "", MS_BIND, nullptr), 0);
  EXPECT_EQ(mount("", where, "", MS_BIND | MS_REMOUNT | flags, nullptr), 0);
}

void mountSmall(const char *limit) {
  EXPECT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, limit), 0);
  put(kTableNames, kOld);
}

}  // namespace

TEST(RealTableNames, AreEditedWhereverTheyCanBeWritten) {
  constexpr void (*kSituations[])() = {
      [] {  // a folder like any other
        put(kTableNames, kOld, 0664);
        EXPECT_EQ(chown(kTableNames, 12, 34), 0);
        put("/etc/iproute2/rt_tables.new", "left by an interrupted run\n");
      },
      [] {  // the file is a mount
        put(kTableNames, "");
        put("/etc/tables", kOld);
        mountAt(kTableNames, "/etc/tables");
      },
      [] {  // the same in a folder that takes no file
        put(kTableNames, "");
        put("/etc/tables", kOld);
        mountAt(kFolder, kFolder, MS_RDONLY);
        mountAt(kTableNames, "/etc/tables");
      },
      [] { mountSmall("nr_inodes=2"); },  // full of files
      [] {                                // full of bytes
        mountSmall("size=8k");
        put("/etc/iproute2/filler", std::string(8192, 'x'));
      },
      [] {
        put("/etc/tables", kOld);
        fs::create_symlink("../tables", kTableNames);
      },
      [] {
        put("/etc/tables", kOld);
        fs::create_hard_link("/etc/tables", kTableNames);
      },
      [] {  // its owner cannot be given
        put(kTableNames, kOld, 0666);
        put("/etc/ran", "", 0666);
        chmod(kFolder, 0777);
        EXPECT_EQ(setgid(65534) + setuid(65534), 0);
      },
      [] {  // a stranger holds the lock
        put(kTableNames, kOld);
        EXPECT_EQ(flock(open(kFolder, O_RDONLY | O_CLOEXEC), LOCK_EX), 0);
      },
  };
  for (size_t i = 0; i < std::size(kSituations); i++) {
    SCOPED_TRACE(i);
    inOwnEtc([&] {
      kSituations[i]();
      const bool link = fs::is_symlink(kTableNames);
      expectEdited();
      EXPECT_EQ(fs::is_symlink(kTableNames), link);
      if (fs::exists("/etc/tables")) {
        EXPECT_EQ(textOf("/etc/tables"), textOf(kTableNames));
      }
    });
    if (IsSkipped()) return;
  }
}

TEST(RealTableNames, StayWholeWhereNotOneByteIsLeft) {
  inOwnEtc([] {
    mountSmall("size=8k");
    const std::string full = std::string(4090, '#') + "\n5 a\n";
    put(kTableNames, full);
    put("/etc/iproute2/filler", std::string(8192, 'x'));
    doPolicyRoutingAction("", "", "0", "", "-1", "WAN", "br0", "home", 2, 1);
    EXPECT_EQ(textOf(kTableNames), full);
    EXPECT_FALSE(fs::exists("/etc/ran")) << "nothing is installed without a name";
  });
}

TEST(RealTableNames, AreSharedByTheirEditors) {
  inOwnEtc([] {
    put(kTableNames, "254 main\n");
    std::vector<pid_t> editors;
    for (int number = 301; number < 304; number++) {
      editors.push_back(fork());
      if (editors.back() != 0) continue;
      for (int i = 0; i < 2000; i++) {
        orba::removeTableName(number, "x");
        orba::addTableName(number, "x");
      }
      _exit(0);
    }
    for (pid_t editor : editors) waitpid(editor, nullptr, 0);
    std::multiset<std::string> lines;
    std::ifstream file(kTableNames);
    for (std::string line; std::getline(file, line);) lines.insert(line);
    EXPECT_THAT(lines, testing::ElementsAre("254 main", "301 pf_x", "302 pf_x", "303 pf_x"));
  });
}
