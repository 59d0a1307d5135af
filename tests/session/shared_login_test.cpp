// Several processes at the login record, some of them killed.
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

#include "session/processes.h"

namespace {

// A record of which every byte follows from its number.
orba_login_record numbered(int32_t number) {
  orba_login_record record{};
  snprintf(record.login_user, sizeof record.login_user, "user%d", number);
  record.session_id = number;
  snprintf(record.session_file, sizeof record.session_file, "/var/SESS_%d", number);
  record.login_status = -number;
  memset(record.status_text, 'a' + number % 26, sizeof record.status_text - 1);
  record.tail = static_cast<uint32_t>(number);
  return record;
}

bool isWhole(const orba_login_record &record) {
  orba_login_record whole = numbered(record.session_id);
  return memcmp(&whole, &record, sizeof whole) == 0;
}

bool publish(int32_t number) {
  global_shared_stuff = numbered(number);
  return sync_globalVar_and_sharedMem(1) == 0;
}

const bool kLongRun = getenv("ORBA_SOAK") != nullptr;

class SharedLogin : public LoginDevice {
 protected:
  int semaphoreValue() { return semctl(semget(kernel_.key(), 1, 0), 0, GETVAL); }
};

TEST_F(SharedLogin, AnswersBeforeAnyStart) {
  EXPECT_TRUE(othersSee(""));
  EXPECT_EQ(semaphoreValue(), 1);
  // As other programs expect it.
  ASSERT_TRUE(publish(0x01020304));
  const int segment = shmget(kernel_.key(), 204, 0);
  shmid_ds status{};
  ASSERT_EQ(shmctl(segment, IPC_STAT, &status), 0);
  EXPECT_EQ(status.shm_segsz, 204u);
  EXPECT_EQ(status.shm_perm.mode & 0777, 0666);
  EXPECT_EQ(status.shm_nattch, 0u);
  EXPECT_EQ(memcmp(shmat(segment, nullptr, SHM_RDONLY), &global_shared_stuff, 204), 0);

  // A maker that was killed before it could free its semaphore.
  kernel_.removeAll();
  ASSERT_NE(semget(kernel_.key(), 1, IPC_CREAT | 0666), -1);
  ASSERT_EQ(semaphoreValue(), 0);
  EXPECT_TRUE(othersSee(""));
  EXPECT_EQ(semaphoreValue(), 1);
}

TEST_F(SharedLogin, IsFreedOnceByManyWhoComeFirst) {
  for (int round = 0; round < 4; round++) {
    kernel_.removeAll();
    std::vector<pid_t> children;
    for (int i = 1; i <= 6; i++) {
      bool starts = i == 6 && round % 2 == 1;
      children.push_back(startProcess([&, i] {
        // The fast ones hold the lock while the slow ones, who have already seen
        // that nobody has freed the semaphore, are about to free it.
        int looks = 0;
        kernel_.after([&looks, i](const std::string &call) {
          if (call == "semctl" && ++looks == 4) usleep(static_cast<useconds_t>(i) * 1500);
          if (call == "semtimedop") usleep(3000);
        });
        return starts ? init_SharedMemory() == 0 : publish(i);
      }));
    }
    for (pid_t child : children) EXPECT_TRUE(endedWell(child));
    EXPECT_EQ(semaphoreValue(), 1);
  }
}

TEST_F(SharedLogin, IsMendedByAStart) {
  ASSERT_EQ(init_SharedMemory(), 0);
  for (int stuck_at : {0, 2, 5}) {
    ASSERT_TRUE(publish(1));
    ASSERT_EQ(semctl(semget(kernel_.key(), 1, 0), 0, SETVAL, stuck_at), 0);
    EXPECT_EQ(init_SharedMemory(), 0);
    EXPECT_EQ(semaphoreValue(), 1);
  }
  // Somebody holds the lock at the start, and ends only afterwards.
  pid_t holder = startProcess([&] {
    kernel_.after([](const std::string &call) {
      if (call == "semtimedop") usleep(50000);
    });
    return publish(2);
  });
  while (semaphoreValue() != 0) usleep(100);
  EXPECT_EQ(init_SharedMemory(), 0);
  EXPECT_TRUE(othersSee("user2")) << "the start has not waited for it";
  EXPECT_TRUE(endedWell(holder));
  EXPECT_EQ(semaphoreValue(), 1);
}

// Publishes number 2 in a process that is killed `count` instructions after it
// got the lock. False when it came to give the lock back before.
bool publishAndDie(sim::SystemV &kernel, int count) {
  pid_t child = startProcess([&] {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    kernel.after([](const std::string &call) {
      if (call == "semtimedop") raise(SIGSTOP);
    });
    return publish(2);
  });
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSTOPPED(status));
  while (count > 0) {
    ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status) || WSTOPSIG(status) != SIGTRAP) break;
    count--;
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return count == 0;
}

TEST_F(SharedLogin, ShowsAllOrNothingOfAPublishThatIsKilled) {
  alarm(600);
  // A soak (ORBA_SOAK set) kills behind every instruction, an ordinary run at some,
  // since stepping there takes longer the farther it is.
  std::set<int> seen;
  bool killed = true;
  for (int count = 0; killed; count += kLongRun ? 1 : 1 + count / 10) {
    ASSERT_TRUE(publish(3) && publish(1));
    killed = publishAndDie(kernel_, count);
    ASSERT_EQ(sync_globalVar_and_sharedMem(0), 0);
    ASSERT_TRUE(isWhole(global_shared_stuff)) << "after " << count;
    EXPECT_EQ(semaphoreValue(), 1);
    seen.insert(global_shared_stuff.session_id);
  }
  EXPECT_EQ(seen, (std::set<int>{1, 2}));
}

// They fetch and publish in turn; at every hundredth exchange one of them is
// killed where it stands and replaced.
TEST_F(SharedLogin, IsNeverTornWhileProcessesAreKilled) {
  const int workers = kLongRun ? 8 : 4, most = kLongRun ? 100000 : 10000;
  using Count = std::atomic<int>;
  auto &exchanges = *static_cast<Count *>(
      mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_TRUE(publish(1));
  alarm(600);
  auto work = [&] {
    alarm(600);
    for (int number = getpid() % 1000; exchanges < most; number++, exchanges++) {
      bool whole = sync_globalVar_and_sharedMem(0) == 0 && isWhole(global_shared_stuff);
      if (whole && publish(number)) continue;
      exchanges = most;
      return false;
    }
    return true;
  };
  std::vector<pid_t> children;
  for (int i = 0; i < workers; i++) children.push_back(startProcess(work));
  srand(1);
  for (int next = 100; next < most; next += 100) {
    while (exchanges < next) usleep(20);
    pid_t &child = children[static_cast<size_t>(rand() % workers)];
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) || status == 0) << "torn or failed";
    child = startProcess(work);
  }
  for (pid_t child : children) EXPECT_TRUE(endedWell(child)) << "torn, failed or blocked";
  EXPECT_EQ(semaphoreValue(), 1);
  munmap(&exchanges, sizeof(Count));
}

}  // namespace
