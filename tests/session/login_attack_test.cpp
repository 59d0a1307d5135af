// Strangers at the login record: another user of the machine, with real files and
// real System V objects, in namespaces that the test makes for itself.
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "session/processes.h"
#include "tests/own_world.h"

namespace {

constexpr key_t kKey = 1234;
constexpr char kConsole[] = "/dev/console";
constexpr uid_t kNobody = 65534;

// Runs `work` as root with System V objects, a /var and a console of its own.
template <typename Work>
void asServer(Work work) {
  inOwnWorld({"/var", "/dev"}, CLONE_NEWIPC, [=] {
    put(kConsole, "");
    work();
  });
}

template <typename Work>
pid_t startStranger(Work work) {
  return startProcess([=] {
    return setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0 && work();
  });
}

template <typename Condition>
void waitUntil(Condition condition) {
  while (!condition()) usleep(1000);
}

void end(pid_t stranger) {
  kill(stranger, SIGKILL);
  waitpid(stranger, nullptr, 0);
}

bool waitForEver() {
  for (;;) pause();
}

// A record without a single end of a text but that of the path.
bool writeIntoRecord(const std::string &session_file) {
  void *segment = shmat(shmget(kKey, 0, 0), nullptr, 0);
  if (reinterpret_cast<intptr_t>(segment) == -1) return false;
  memset(segment, 'A', sizeof(orba_login_record));
  char(&path)[sizeof orba_login_record::session_file] =
      static_cast<orba_login_record *>(segment)->session_file;
  (session_file + '\0').copy(path, sizeof path);
  return true;
}

TEST(LoginAttack, HasNoFileDeletedButASessions) {
  asServer([] {
    ASSERT_EQ(init_SharedMemory(), 0);
    mkdir("/var/SESS_1", 0755);
    const struct {
      const char *path;
      bool deleted;
    } kCases[] = {{"/var/SESS_12", true},           {"/var/passwd", false},
                  {"/var/SESS_1/../passwd", false}, {"/var/SESS_", false},
                  {"/var/SESS_12.key", false},      {"//var/SESS_12", false},
                  {"/var/SESS_-1", false}};
    for (const auto &wanted : kCases) {
      for (bool logs_out : {true, false}) {
        put(wanted.path, "kept");
        ASSERT_TRUE(endedWell(startStranger([&] { return writeIntoRecord(wanted.path); })));
        ASSERT_EQ(sync_globalVar_and_sharedMem(0), 0);
        const orba_login_record &login = global_shared_stuff;
        EXPECT_EQ(strnlen(login.login_user, 32), 31u);
        EXPECT_EQ(strnlen(login.status_text, 128), 127u);
        EXPECT_STREQ(login.session_file, wanted.path);
        logs_out ? static_cast<void>(tuLogout()) : static_cast<void>(writeSessionFile("x"));
        EXPECT_EQ(std::filesystem::exists(wanted.path), !wanted.deleted) << wanted.path;
      }
    }
    const std::string endless = "/var/SESS_" + std::string(200, '1');
    ASSERT_TRUE(endedWell(startStranger([&] { return writeIntoRecord(endless); })));
    ASSERT_EQ(sync_globalVar_and_sharedMem(0), 0);
    const auto &path = global_shared_stuff.session_file;
    EXPECT_EQ(strnlen(path, sizeof path), sizeof path - 1);
  });
}

TEST(LoginAttack, StopsNobodyForGoodWithTheSemaphoreOrTheFolder) {
  asServer([] {
    pid_t locking =
        startStranger([] { return flock(open("/var", O_RDONLY), LOCK_EX) == 0 && waitForEver(); });
    int folder = open("/var", O_RDONLY);
    waitUntil([&] { return flock(folder, LOCK_SH | LOCK_NB) != 0 || flock(folder, LOCK_UN) != 0; });
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(sync_globalVar_and_sharedMem(1), 0) << "a semaphore that nobody has freed yet";
    end(locking);

    int semaphore = semget(kKey, 1, 0);
    pid_t taking = startStranger([=] {
      sembuf take{0, -1, 0};
      return semop(semaphore, &take, 1) == 0 && waitForEver();
    });
    waitUntil([=] { return semctl(semaphore, 0, GETVAL) == 0; });
    strcpy(global_shared_stuff.login_user, "admin");
    orba_login_record local = global_shared_stuff;
    EXPECT_EQ(sync_globalVar_and_sharedMem(0), 1);
    EXPECT_EQ(memcmp(&local, &global_shared_stuff, sizeof local), 0);
    EXPECT_EQ(writeSessionFile("x"), 1);
    EXPECT_EQ(init_SharedMemory(), 0) << "a start mends it";
    EXPECT_EQ(sync_globalVar_and_sharedMem(1), 0);
    EXPECT_LE(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    end(taking);
  });
}

TEST(LoginAttack, DoesNotKeepTheKey) {
  asServer([] {
    auto status = [] {
      shmid_ds found{};
      shmctl(shmget(kKey, 0, 0), IPC_STAT, &found);
      return found;
    };
    // Too short: nobody could log in. It stays attached all the time.
    pid_t holding = startStranger([] {
      shmat(shmget(kKey, 100, IPC_CREAT | 0666), nullptr, 0);
      return waitForEver();
    });
    waitUntil([&] { return status().shm_nattch == 1; });
    EXPECT_EQ(sync_globalVar_and_sharedMem(1), 0);
    EXPECT_EQ(status().shm_segsz, 204u);
    EXPECT_EQ(textOf(kConsole), "foreign login record replaced\n");
    end(holding);

    // Too long, or closed to the server's other users, or in a position to become so.
    for (auto [size, mode] : {std::pair<size_t, int>{9000, 0666}, {204, 0600}, {204, 0666}}) {
      shmctl(shmget(kKey, 0, 0), IPC_RMID, nullptr);
      semctl(semget(kKey, 0, 0), 0, IPC_RMID);
      put(kConsole, "");
      ASSERT_TRUE(endedWell(startStranger([=, size = size, mode = mode] {
        return shmget(kKey, size, IPC_CREAT | mode) != -1 &&
               semget(kKey, 1, IPC_CREAT | mode) != -1;
      })));
      EXPECT_EQ(init_SharedMemory(), 0);
      EXPECT_EQ(textOf(kConsole), "foreign login record replaced\n");
      EXPECT_EQ(status().shm_segsz, 204u);
      EXPECT_EQ(status().shm_perm.cuid, 0u);
      semid_ds semaphore{};
      semctl(semget(kKey, 0, 0), 0, IPC_STAT, &semaphore);
      EXPECT_EQ(semaphore.sem_perm.cuid, 0u);
      EXPECT_TRUE(endedWell(startStranger([] { return sync_globalVar_and_sharedMem(0) == 0; })));
    }
    put(kConsole, "");
    EXPECT_EQ(init_SharedMemory(), 0);
    EXPECT_EQ(textOf(kConsole), "") << "one's own is kept";
  });
}

}  // namespace
