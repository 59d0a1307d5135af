/* Processes that use one store at once, and those that die while they do. */
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/time.h>

#include <thread>

#include "platform/nvram/nvram.h"
#include "tests/nvram/processes.h"

namespace {

constexpr int keys = 8;

std::string numbered(const std::string &name, int number) {
  return name + std::to_string(number);
}

// Long enough for several writes, and wrong in any mixture of two.
std::string textOf(int generation) {
  std::string text;
  while (text.size() < 3000) text += std::to_string(generation) + ";";
  return text;
}

void bufferGeneration(int generation) {
  for (int i = 0; i < keys; ++i) {
    EXPECT_EQ(nvram_bufset(1, numbered("key", i).c_str(), textOf(generation).c_str()), 0);
  }
}

// The generation that all keys agree on.
int committedGeneration() {
  const int generation = atoi(nvram_get(1, "key0"));
  for (int i = 0; i < keys; ++i) {
    EXPECT_EQ(nvram_get(1, numbered("key", i).c_str()), textOf(generation));
  }
  return generation;
}

TEST(KilledWriter, LeavesTheOldOrTheNewContentsAtEverySystemCall) {
  StoreFolder folder;
  inProcess([] {
    bufferGeneration(0);
    EXPECT_EQ(nvram_commit(1), 0);
    bool ended = false;
    int old = 0;
    int stops = 0;
    // One writer a stop: it is killed before its first system call, then after
    // that, then before the second, and so on until it lives to its end.
    for (; !ended; ++stops) {
      ASSERT_LT(stops, 2000);
      const pid_t writer = startProcess([&] {
        bufferGeneration(old + 1);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        nvram_commit(1);
        _exit(0);
      });
      int status = 0;
      ASSERT_EQ(waitpid(writer, &status, 0), writer);
      for (int stop = 0; stop <= stops && !WIFEXITED(status); ++stop) {
        ptrace(PTRACE_SYSCALL, writer, nullptr, nullptr);
        ASSERT_EQ(waitpid(writer, &status, 0), writer);
      }
      ended = WIFEXITED(status);
      if (!ended) {
        kill(writer, SIGKILL);
        waitpid(writer, &status, 0);
      }
      const int seen = committedGeneration();
      ASSERT_TRUE(seen == old + 1 || (seen == old && !ended)) << seen << " at stop " << stops;
      old = seen;
    }
    EXPECT_GT(stops, 20);
  });
}

TEST(SeveralWriters, LoseNothing) {
  StoreFolder folder;
  constexpr int commits = 150;
  std::vector<pid_t> writers;
  for (const std::string name : {"a", "b"}) {
    writers.push_back(startProcess([&] {
      for (int i = 0; i < commits; ++i) {
        EXPECT_EQ(nvram_bufset(1, numbered(name, i).c_str(), ""), 0);
        EXPECT_EQ(nvram_commit(1), 0);
      }
    }));
  }
  for (pid_t writer : writers) expectGoodEnd(writer);
  inProcess([] {
    for (int i = 0; i < commits; ++i) {
      EXPECT_NE(nvram_get(1, numbered("a", i).c_str()), nullptr);
      EXPECT_NE(nvram_get(1, numbered("b", i).c_str()), nullptr);
    }
  });
}

TEST(Reader, SeesEveryCommitOfAnotherProcessAndEveryEdit) {
  StoreFolder folder;
  inProcess([&] {
    EXPECT_EQ(nvram_get(1, "a"), nullptr);
    // Commits that follow one another within a tick of the clock, with values of
    // one length, in files whose inode may have been used before.
    for (int round = 0; round < 100; ++round) {
      const std::string value = std::to_string(round % 10);
      inProcess([&] {
        EXPECT_EQ(nvram_set(1, "a", "x"), 0);
        EXPECT_EQ(nvram_set(1, "a", value.c_str()), 0);
      });
      ASSERT_EQ(nvram_get(1, "a"), value);
    }
    folder.write("space1.conf", "a=22\n");
    EXPECT_STREQ(nvram_get(1, "a"), "22");
    std::filesystem::remove(folder.file("space1.conf"));
    EXPECT_EQ(nvram_get(1, "a"), nullptr);
  });
}

TEST(Threads, ShareTheStoreAndMayFork) {
  StoreFolder folder;
  inProcess([] {
    constexpr int rounds = 20000;
    const auto work = [](const std::string &name) {
      for (int i = 0; i < rounds; ++i) {
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
    for (int i = 0; i < rounds; ++i) {
      EXPECT_EQ(nvram_get(1, numbered("a", i).c_str()), numbered("a", i));
      EXPECT_EQ(nvram_get(1, numbered("b", i).c_str()), numbered("b", i));
    }
  });
}

volatile sig_atomic_t ticks = 0;

TEST(SignalHandler, MayUseTheStoreThatItInterrupts) {
  StoreFolder folder;
  inProcess([] {
    EXPECT_EQ(nvram_set(1, "a", "1"), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    signal(SIGALRM, [](int) {
      bool works = nvram_get(1, "a") != nullptr && nvram_bufset(1, "tick", "1") == 0;
      if (works && nvram_commit(1) == 0) ticks = ticks + 1;
    });
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    // Nothing here but the store touches the heap.
    while (ticks < 20) nvram_get(1, "a");
    const itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    EXPECT_STREQ(nvram_get(1, "tick"), "1");
  });
}

}  // namespace
