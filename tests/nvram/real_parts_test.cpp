/* The store on a file system with whole seconds, shared by the users of a
 * group, and attacked by users that should have no say in it. */
#include <gmock/gmock.h>
#include <grp.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "platform/nvram/nvram.h"
#include "tests/nvram/processes.h"

namespace {

namespace fs = std::filesystem;
using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr uid_t kOwner = 1501, kMember = 1502, kStranger = 1503;
constexpr gid_t kGroup = 1600;

int failureOfSet(const char *value) {
  return failureOf(nvram_set(1, "a", value));
}

void become(uid_t user) {
  const gid_t groups[] = {kGroup};
  ASSERT_EQ(setgroups(user == kStranger ? 0 : 1, groups), 0);
  ASSERT_EQ(setgid(user), 0);
  ASSERT_EQ(setuid(user), 0);
}

template <typename Body>
void asUser(uid_t user, Body body) {
  inProcess([&] {
    become(user);
    body();
  });
}

// Owner, group and mode.
std::vector<unsigned> rightsOf(const std::string &file) {
  struct stat status {};
  EXPECT_EQ(lstat(file.c_str(), &status), 0) << file;
  return {status.st_uid, status.st_gid, status.st_mode & 07777};
}

// For others to enter.
class Users : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can play other users";
    fs::permissions(root, fs::perms(0755));
  }
  void share(uid_t owner, gid_t group, mode_t mode) const {
    allot(folder.path(), owner, group, mode);
  }
  static void allot(const std::string &file, uid_t owner, gid_t group, mode_t mode) {
    ASSERT_EQ(chown(file.c_str(), owner, group), 0);
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
  }
  // What a process of `user`, to which nothing is open, is told.
  std::string refusalOf(uid_t user) const {
    return errorsOf(folder, [&] {
      become(user);
      EXPECT_EQ(nvram_get(1, "a"), nullptr);
      EXPECT_NE(failureOfSet("theirs"), 0);
    });
  }

  StoreFolder folder;
  const fs::path root = fs::path(folder.path()).parent_path();
};

// A reader sees what another process commits within a tick of the clock, in values of one
// length, in files of which the second has the inode of the one before; and every edit.
void expectNothingHidden(const StoreFolder &folder) {
  EXPECT_EQ(nvram_get(1, "a"), nullptr);
  int stale = 0;
  const auto expect = [&](const std::string &value) { stale += nvram_get(1, "a") != value; };
  for (int round = 0; round < 100; ++round) {
    const std::string value = std::to_string(round % 10);
    inProcess([&] {
      EXPECT_EQ(failureOfSet("x"), 0);
      EXPECT_EQ(failureOfSet(value.c_str()), 0);
    });
    expect(value);
  }
  for (const std::string value : {"x", "y", "z"}) {
    folder.write("space1.conf", "a=" + value + "\n");
    expect(value);
  }
  EXPECT_EQ(stale, 0) << "of 103 answers";
  fs::remove(folder.file("space1.conf"));
  EXPECT_EQ(nvram_get(1, "a"), nullptr);
}

TEST(Reader, SeesEveryCommitOfAnotherProcessAndEveryEdit) {
  StoreFolder folder;
  inProcess([&] { expectNothingHidden(folder); });
}

// Runs `body` where `mounts`, a line for the shell, has mounted what nobody else sees.
// False where that cannot be done.
template <typename Body>
bool withMounts(const std::string &mounts, Body body) {
  constexpr int kNoMount = 77;
  const pid_t child = startProcess([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, "") != 0 ||
        system(("(" + mounts + ") >/dev/null 2>&1").c_str()) != 0) {
      _exit(kNoMount);
    }
    body();
  });
  int status = -1;
  waitpid(child, &status, 0);
  if (status == W_EXITCODE(kNoMount, 0)) return false;
  EXPECT_EQ(status, 0);
  return true;
}

TEST(WholeSeconds, HideNoCommitAndNoEdit) {
  StoreFolder folder(kMemory);
  const std::string image = folder.path() + ".ext4";
  const std::string make = "truncate -s 8M " + image + " && mkfs.ext4 -q -I 128 " + image +
                           " && mount -o loop " + image + " " + folder.path();
  const bool mounted = withMounts(make, [&] { expectNothingHidden(folder); });
  if (!mounted) GTEST_SKIP() << "no ext4 can be mounted here";
}

TEST(Folder, IsTheUsualOneWhenNoneIsNamed) {
  const bool mounted = withMounts("mkdir -p /var/lib && mount -t tmpfs none /var/lib", [] {
    unsetenv("ORBA_NVRAM_DIR");
    EXPECT_EQ(failureOfSet("1"), 0);
    EXPECT_TRUE(fs::exists("/var/lib/orba/space1.conf"));
  });
  if (!mounted) GTEST_SKIP() << "nothing can be mounted here";
}

TEST_F(Users, OfAGroupShareWhatItsOwnerOpened) {
  const std::string file = folder.file("space1.conf");
  share(kOwner, kOwner, 0755);
  asUser(kOwner, [&] {
    EXPECT_EQ(failureOfSet("owner's"), 0);
    EXPECT_THAT(rightsOf(file), ElementsAre(kOwner, kOwner, 0600));
    allot(file, kOwner, kGroup, 0660);
    share(kOwner, kGroup, 0775);
  });
  for (int round = 0; round < 3; ++round) {
    for (const uid_t user : {kMember, kOwner}) {
      asUser(user, [&] {
        EXPECT_NE(nvram_get(1, "a"), nullptr);
        EXPECT_EQ(failureOfSet(std::to_string(user).c_str()), 0);
        EXPECT_EQ(nvram_get(1, "a"), std::to_string(user));
      });
      EXPECT_THAT(rightsOf(file), ElementsAre(user, kGroup, 0660));
    }
  }
  const char *const closed = "its folder belongs to somebody else";
  EXPECT_THAT(refusalOf(kStranger), HasSubstr(closed));
  share(kOwner, kGroup, 0755);
  EXPECT_THAT(refusalOf(kMember), HasSubstr(closed));
  share(kOwner, kGroup, 0775);

  // Whoever is not in the group of the file does not open it to their own.
  allot(file, kOwner, kStranger, 0654);
  fs::remove(folder.file("space1.lock"));
  asUser(kMember, [] { EXPECT_EQ(failureOfSet("member's"), 0); });
  EXPECT_THAT(rightsOf(file), ElementsAre(kMember, kMember, 0644));
}

TEST_F(Users, ReadWhatTheyMayAndBelowAFolderThatTheyCannotList) {
  folder.write("space1.conf", "a=root's\n");
  asUser(kStranger, [] {
    EXPECT_EQ(failureOfSet("stranger's"), EACCES);
    EXPECT_STREQ(nvram_get(1, "a"), "root's");
  });
  fs::remove(folder.file("space1.conf"));
  fs::permissions(root, fs::perms(0711));
  share(kOwner, kOwner, 0755);
  asUser(kOwner, [] {
    EXPECT_EQ(failureOfSet("1"), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "1");
  });
}

// What one may do in a folder of one's own, or as a member in a shared one.
TEST_F(Users, CannotLeadRootAstray) {
  const std::string own = root / "own", secret = own + "/space1.conf", fresh = root / "fresh";
  fs::create_directory(own);
  std::ofstream(secret) << "a=secret\n";
  const std::string conf = folder.file("space1.conf"), lock = folder.file("space1.lock");
  const std::string up = folder.file("up");
  const struct {
    uid_t owner;
    mode_t mode;
    std::function<void()> attack;
    const char *told;
    const char *named = "";  // behind the folder
  } attacks[] = {
      {kOwner, 0755, [] {}, "its folder belongs to somebody else"},
      {kOwner, 0755, [&] { symlink(secret.c_str(), conf.c_str()); }, "a link to it is somebody"},
      {kOwner, 0775, [] {}, "its folder belongs to somebody else"},
      {0, 01777, [&] { std::ofstream(conf) << "a=1\n"; }, "everyone may write to its folder"},
      {0, 0775, [&] { symlink(secret.c_str(), conf.c_str()); }, "a link to it is somebody"},
      {0, 0775, [&] { symlink(fresh.c_str(), lock.c_str()); }, ""},
      {0, 0775, [&] { mkfifo(conf.c_str(), 0666); }, "Operation not permitted"},
      {kOwner, 0755, [&] { symlink(root.c_str(), up.c_str()); }, "a link to it is", "/up/own"},
      {kOwner, 0755, [&] { symlink(root.c_str(), up.c_str()); }, "a link to it is", "/up/fresh"},
      {kOwner, 0755, [&] { symlink(own.c_str(), up.c_str()); }, "a link to it is", "/up/."},
  };
  for (const auto &attack : attacks) {
    SCOPED_TRACE(&attack - attacks);
    fs::remove_all(fresh);
    fs::remove_all(folder.path());
    fs::create_directory(folder.path());
    share(attack.owner, kGroup, attack.mode);
    asUser(attack.owner == 0 ? kMember : attack.owner, attack.attack);
    const pid_t root_process = startProcess([&] {
      ASSERT_NE(freopen(folder.errors().c_str(), "w", stderr), nullptr);
      ASSERT_EQ(setgroups(1, &kGroup), 0);  // which is no reason to trust its members
      setenv("ORBA_NVRAM_DIR", (folder.path() + attack.named).c_str(), 1);
      EXPECT_EQ(nvram_get(1, "a"), nullptr);
      EXPECT_NE(failureOfSet("new"), 0);
    });
    EXPECT_EQ(endOf(root_process), 0);
    EXPECT_THAT(StoreFolder::contents(folder.errors()), HasSubstr(attack.told));
    EXPECT_FALSE(fs::exists(fresh));
    EXPECT_EQ(StoreFolder::contents(secret), "a=secret\n");
  }

  // What root keeps of its settings is root's, whoever has put a file there.
  fs::remove_all(folder.path());
  fs::create_directory(folder.path());
  share(0, kGroup, 0775);
  folder.write("space1.conf", "damaged\n");
  ASSERT_EQ(chmod(conf.c_str(), 0600), 0);
  asUser(kMember, [&] { std::ofstream(conf + ".damaged"); });
  EXPECT_THAT(errorsOf(folder, [] { EXPECT_EQ(failureOfSet("1"), 0); }), HasSubstr("conf:1: "));
  EXPECT_THAT(rightsOf(conf + ".damaged"), ElementsAre(0, _, 0600));
}

volatile sig_atomic_t ticks = 0;
volatile pid_t holder = 0;

void count(int) {
  ticks = ticks + 1;
}

void countAndLetGo(int) {
  count(0);
  if (ticks == 3) kill(holder, SIGKILL);
}

// A member holds the lock for good.
TEST_F(Users, CannotHoldUpAWriterThatIsToEnd) {
  share(0, kGroup, 0775);
  folder.write("space1.conf", "a=old\n");
  const std::string file = folder.file("space1.conf");
  allot(file, 0, kGroup, 0660);
  const struct {
    void (*handler)(int);
    int flags, end, error;
  } cases[] = {{SIG_DFL, 0, SIGALRM, 0}, {count, 0, 0, EINTR}, {countAndLetGo, SA_RESTART, 0, 0}};
  for (const auto &[handler, flags, end, error] : cases) {
    SCOPED_TRACE(flags);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    holder = startProcess([&] {
      become(kMember);
      for (const std::string &lock : {file, folder.file("space1.lock")}) {
        EXPECT_EQ(flock(open(lock.c_str(), O_RDWR | O_CREAT, 0666), LOCK_EX), 0);
      }
      EXPECT_EQ(write(ready[1], "", 1), 1);
      pause();
    });
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    const pid_t writer = startProcess([&] {
      struct sigaction action {};
      action.sa_handler = handler;
      action.sa_flags = flags;
      sigaction(SIGALRM, &action, nullptr);
      const itimerval often{{0, 20'000}, {0, 20'000}};
      setitimer(ITIMER_REAL, &often, nullptr);
      EXPECT_EQ(failureOfSet("new"), error);
      EXPECT_GE(ticks, flags == SA_RESTART ? 3 : 1);
    });
    EXPECT_EQ(endOf(writer), end);
    const char *const value = flags == SA_RESTART ? "a=new\n" : "a=old\n";
    EXPECT_THAT(folder.read("space1.conf"), HasSubstr(value));
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    for (const int descriptor : ready) close(descriptor);
  }
}

}  // namespace
