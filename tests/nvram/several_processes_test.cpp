/* Processes that use one store at once, and those that die while they do. */
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <atomic>
#include <thread>

#include "platform/nvram/nvram.h"
#include "tests/nvram/processes.h"

namespace {

constexpr int kKeys = 8;

std::string numbered(const std::string &name, int number) {
  return name + std::to_string(number);
}

// Long enough for several writes, and wrong in any mixture of two.
std::string textOf(int generation) {
  std::string text;
  while (text.size() < 3000) text += std::to_string(generation) + ";";
  return text;
}

// What two writers and their readers know of each other.
struct Crowd {
  std::atomic<int> acknowledged[2];  // the writer's last commit that has returned
  std::atomic<int> reads;
  std::atomic<int> killed;
  std::atomic<bool> over;
};

// The generation that a writer's keys are at. Read one after the other they may
// only rise, and be no older than the last commit that had returned before.
int writersGeneration(const Crowd &crowd, int writer, int seen) {
  seen = std::max(seen, crowd.acknowledged[writer].load());
  std::string whole = textOf(seen);
  for (int i = 0; i < kKeys; ++i) {
    const char *value = nvram_get(1, numbered(writer == 0 ? "a" : "b", i).c_str());
    const int now = value == nullptr ? 0 : atoi(value);
    if (now != seen) whole = textOf(now);
    EXPECT_TRUE(value == nullptr || value == whole) << "mixed";
    EXPECT_GE(now, seen) << "lost";
    EXPECT_LE(now, crowd.acknowledged[writer] + 1) << "not written yet";
    seen = now;
  }
  return seen;
}

// Of a file of one's own, or of one that a group may write to.
class TwoWriters : public testing::TestWithParam<mode_t> {};
INSTANTIATE_TEST_SUITE_P(, TwoWriters, testing::Values(0600, 0660));

TEST_P(TwoWriters, LoseAndMixNothingUnderFourReaders) {
  // A soak (ORBA_SOAK set) lasts about a minute.
  const int commits = getenv("ORBA_SOAK") != nullptr ? 5000 : 100;
  StoreFolder folder(kMemory);
  folder.write("space1.conf", "# still empty\n");
  ASSERT_EQ(chmod(folder.file("space1.conf").c_str(), GetParam()), 0);
  auto &crowd = *static_cast<Crowd *>(
      mmap(nullptr, sizeof(Crowd), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const auto write = [&](int writer) {
    // Whoever follows a writer that was killed goes on from what it left.
    crowd.acknowledged[writer] = writersGeneration(crowd, writer, 0);
    for (int next = crowd.acknowledged[writer] + 1; next <= commits; ++next) {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = numbered(writer == 0 ? "a" : "b", i);
        EXPECT_EQ(nvram_bufset(1, key.c_str(), textOf(next).c_str()), 0);
      }
      EXPECT_EQ(nvram_commit(1), 0);
      crowd.acknowledged[writer] = next;
    }
  };
  const auto read = [&] {
    int seen[2] = {};
    while (!crowd.over && !testing::Test::HasFailure()) {
      for (const int writer : {0, 1}) seen[writer] = writersGeneration(crowd, writer, seen[writer]);
      crowd.reads += 2 * kKeys;
    }
  };
  // A writer is killed every twenty commits, wherever it then is.
  const auto write_and_die = [&](int writer) {
    while (crowd.acknowledged[writer] < commits && !testing::Test::HasFailure()) {
      const int enough = crowd.acknowledged[writer] + 20;
      const pid_t child = startProcess([&] { write(writer); });
      int status = -1;
      while (crowd.acknowledged[writer] < enough && waitpid(child, &status, WNOHANG) == 0) {
        usleep(50);
      }
      if (status == -1) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        ++crowd.killed;
      }
      EXPECT_TRUE(status == 0 || WIFSIGNALED(status)) << status;
    }
  };
  std::vector<pid_t> writers, readers;
  for (const int writer : {0, 1}) writers.push_back(startProcess([&] { write_and_die(writer); }));
  for (int i = 0; i < 4; ++i) readers.push_back(startProcess(read));
  for (const pid_t writer : writers) expectGoodEnd(writer);
  crowd.over = true;
  for (const pid_t reader : readers) expectGoodEnd(reader);
  inProcess([&] {
    for (const int writer : {0, 1}) EXPECT_EQ(writersGeneration(crowd, writer, 0), commits);
  });
  printf("%d commits, %d writers killed, %d reads\n", 2 * commits, crowd.killed.load(),
         crowd.reads.load());
  munmap(&crowd, sizeof crowd);
}

TEST(Threads, ShareTheStoreAndMayFork) {
  StoreFolder folder;
  inProcess([] {
    constexpr int kRounds = 20000;
    const auto work = [](const std::string &name) {
      for (int i = 0; i < kRounds; ++i) {
        const std::string key = numbered(name, i);
        EXPECT_EQ(nvram_bufset(1, key.c_str(), key.c_str()), 0);
        EXPECT_EQ(nvram_bufget(1, key.c_str()), key);
        if (i % 2000 == 1999) {
          EXPECT_EQ(nvram_commit(1), 0);
        }
      }
    };
    std::thread threads[] = {std::thread(work, "a"), std::thread(work, "b")};
    // A child is never born into a store that is in use, from the first on.
    for (int i = 0; i < 50; ++i) {
      inProcess([] {
        EXPECT_EQ(nvram_bufset(2, "child", "1"), 0);
        EXPECT_STREQ(nvram_bufget(2, "child"), "1");
      });
    }
    for (std::thread &thread : threads) thread.join();
    for (int i = 0; i < kRounds; ++i) {
      EXPECT_EQ(nvram_get(1, numbered("a", i).c_str()), numbered("a", i));
      EXPECT_EQ(nvram_get(1, numbered("b", i).c_str()), numbered("b", i));
    }
  });
}

volatile sig_atomic_t commits = 0;

TEST(SignalHandler, MayUseTheStoreThatItInterrupts) {
  StoreFolder folder(kMemory);
  inProcess([] {
    EXPECT_EQ(nvram_set(1, "a", "1"), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    signal(SIGALRM, [](int) {
      bool works = nvram_get(1, "a") != nullptr && nvram_bufset(1, "tick", "1") == 0;
      if (works && nvram_commit(1) == 0) commits = commits + 1;
    });
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    // Nothing here but the store touches the heap.
    while (commits < 20) nvram_get(1, "a");
    const itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    EXPECT_STREQ(nvram_get(1, "tick"), "1");
  });
}

}  // namespace
