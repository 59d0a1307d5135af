// Several processes at the login record, some of them killed.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orba_util.h"
#include "session/processes.h"
#include "sim/device.h"
#include "sim/system_v.h"

namespace {

using sim::Device;
using sim::SystemV;

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

bool longRun() {
  return getenv("ORBA_SOAK") != nullptr;
}

class SharedLogin : public testing::Test {
 protected:
  SharedLogin() : kernel_(device_.part<SystemV>()) {
    device_.file("/var/run/utmp", "");
    alarm(100);  // ends this process too when it is blocked
  }
  ~SharedLogin() override { alarm(0); }

  int semaphoreValue() { return semctl(semget(kernel_.key(), 1, 0), 0, GETVAL); }

  Device device_;
  SystemV &kernel_;
};

TEST_F(SharedLogin, HasTheLayoutAndTheKeyOfTheOtherPrograms) {
  ASSERT_TRUE(publish(0x01020304));
  int segment = shmget(kernel_.key(), 0, 0);
  shmid_ds status;
  ASSERT_EQ(shmctl(segment, IPC_STAT, &status), 0);
  EXPECT_EQ(status.shm_segsz, 204u);
  EXPECT_EQ(status.shm_perm.mode & 0777, 0666);
  EXPECT_EQ(status.shm_nattch, 0u);
  auto *bytes = static_cast<char *>(shmat(segment, nullptr, SHM_RDONLY));
  EXPECT_STREQ(bytes, "user16909060");
  EXPECT_EQ(memcmp(bytes + 32, "\4\3\2\1", 4), 0);
  EXPECT_STREQ(bytes + 36, "/var/SESS_16909060");
  EXPECT_EQ(memcmp(bytes + 68, "\xFC\xFC\xFD\xFE", 4), 0);
  EXPECT_EQ(strlen(bytes + 72), 127u);
  EXPECT_EQ(memcmp(bytes + 200, "\4\3\2\1", 4), 0);
  shmdt(bytes);
}

TEST_F(SharedLogin, AnswersBeforeAnyStart) {
  auto asks = [] {
    char name[32] = "unwritten";
    return getLoginUser(name) == 1 && strcmp(name, "") == 0;
  };
  EXPECT_TRUE(inAnotherProcess(asks));
  EXPECT_EQ(semaphoreValue(), 1);

  // A maker that was killed before it could free its semaphore.
  kernel_.removeAll();
  ASSERT_NE(semget(kernel_.key(), 1, IPC_CREAT | 0666), -1);
  ASSERT_EQ(semaphoreValue(), 0);
  EXPECT_TRUE(inAnotherProcess(asks));
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
          if (call == "semop") usleep(3000);
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
  int held[2];
  ASSERT_EQ(pipe(held), 0);
  pid_t holder = startProcess([&] {
    kernel_.after([&, first = true](const std::string &call) mutable {
      if (call != "semop" || !first) return;
      first = false;
      (void)!write(held[1], "x", 1);
      usleep(50000);
    });
    return publish(2);
  });
  char byte;
  ASSERT_EQ(read(held[0], &byte, 1), 1);
  EXPECT_EQ(init_SharedMemory(), 0);
  EXPECT_TRUE(endedWell(holder));
  EXPECT_EQ(semaphoreValue(), 1);
  close(held[0]);
  close(held[1]);
}

TEST_F(SharedLogin, BlocksNobodyWhereverAProcessIsKilled) {
  ASSERT_TRUE(publish(1));
  // The calls of one exchange, in order; the process is killed after each.
  for (int calls = 1; calls <= 6; calls++) {
    EXPECT_FALSE(inAnotherProcess([&] {
      int left = calls;
      kernel_.after([&](const std::string &) {
        if (--left == 0) raise(SIGKILL);
      });
      return publish(2);
    })) << "the process survived call "
        << calls;
    EXPECT_TRUE(inAnotherProcess([] { return sync_globalVar_and_sharedMem(0) == 0; }))
        << "blocked after call " << calls;
    EXPECT_EQ(semaphoreValue(), 1);
  }
}

// A process that publishes number 2, stopped with the lock in its hands.
pid_t startStoppedPublisher(SystemV &kernel) {
  pid_t child = startProcess([&] {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    kernel.after([](const std::string &call) {
      if (call == "semop") raise(SIGSTOP);
    });
    return publish(2);
  });
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSTOPPED(status) ? child : -1;
}

// Lets it run for so many instructions; fewer when it comes to give the lock back.
int runInstructions(pid_t child, int count) {
  for (int done = 0; done < count; done++) {
    int status = 0;
    ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status) || WSTOPSIG(status) != SIGTRAP) return done;
  }
  return count;
}

TEST_F(SharedLogin, ShowsAllOrNothingOfAPublishThatIsKilled) {
  ASSERT_TRUE(publish(1));
  pid_t child = startStoppedPublisher(kernel_);
  ASSERT_NE(child, -1);
  int instructions = runInstructions(child, 1000000);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  ASSERT_GT(instructions, 20);

  // The soak kills it behind every instruction, the ordinary run at some of them.
  int places = longRun() ? instructions : std::clamp(100000 / instructions, 20, 100);
  int seen[3] = {};
  for (int i = 0; i <= places; i++) {
    ASSERT_TRUE(publish(1));
    child = startStoppedPublisher(kernel_);
    runInstructions(child, instructions * i / places);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_EQ(sync_globalVar_and_sharedMem(0), 0);
    ASSERT_TRUE(isWhole(global_shared_stuff)) << "after " << instructions * i / places;
    ASSERT_TRUE(global_shared_stuff.session_id == 1 || global_shared_stuff.session_id == 2);
    seen[global_shared_stuff.session_id]++;
  }
  EXPECT_GT(seen[1], 0);
  EXPECT_GT(seen[2], 0);
}

struct Tally {
  std::atomic<int> exchanges, torn, failed;
};

// `workers` processes fetch and publish in turn until there were so many
// exchanges; at every hundredth one of them is killed where it stands and
// replaced.
void exchangeAndKill(SystemV &kernel, int workers, int exchanges) {
  auto *tally = static_cast<Tally *>(
      mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_TRUE(publish(1));
  auto work = [&] {
    alarm(600);
    for (int number = getpid() % 1000; tally->exchanges < exchanges; number++) {
      if (sync_globalVar_and_sharedMem(0) != 0) tally->failed++;
      if (!isWhole(global_shared_stuff)) tally->torn++;
      if (!publish(number)) tally->failed++;
      tally->exchanges++;
    }
    return true;
  };
  auto start = std::chrono::steady_clock::now();
  std::vector<pid_t> children;
  for (int i = 0; i < workers; i++) children.push_back(startProcess(work));
  int killed = 0;
  srand(1);
  for (int next = 100; next < exchanges; next += 100) {
    while (tally->exchanges < next) usleep(20);
    pid_t &child = children[static_cast<size_t>(rand() % workers)];
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    killed++;
    child = startProcess(work);
  }
  for (pid_t child : children) EXPECT_TRUE(endedWell(child)) << "a process was blocked";
  EXPECT_TRUE(inAnotherProcess([] { return sync_globalVar_and_sharedMem(0) == 0; }));
  EXPECT_EQ(semctl(semget(kernel.key(), 1, 0), 0, GETVAL), 1);
  EXPECT_EQ(tally->torn, 0);
  EXPECT_EQ(tally->failed, 0);
  std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  printf("%d processes, %d exchanges, %d killed, %d torn, %d failed, %.1f s\n", workers,
         tally->exchanges.load(), killed, tally->torn.load(), tally->failed.load(),
         seconds.count());
  munmap(tally, sizeof(Tally));
}

TEST_F(SharedLogin, IsNeverTornWhileProcessesAreKilled) {
  exchangeAndKill(kernel_, 4, 10000);
}

TEST_F(SharedLogin, Soak) {
  if (!longRun()) GTEST_SKIP() << "set ORBA_SOAK=1 for a longer run";
  exchangeAndKill(kernel_, 8, 100000);
}

}  // namespace
