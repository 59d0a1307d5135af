// No handler uses the heap, which the code under it may be about to change.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "nvram.h"
#include "orba_util.h"
#include "tests/kernel/machine.h"

namespace {

volatile bool counting;
volatile int allocations;

void count() {
  if (counting) allocations = allocations + 1;
}

}  // namespace

extern "C" {

void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);

void *malloc(size_t size) {
  return count(), __libc_malloc(size);
}
void *calloc(size_t number, size_t size) {
  return count(), __libc_calloc(number, size);
}
void *realloc(void *old, size_t size) {
  return count(), __libc_realloc(old, size);
}
void free(void *old) {
  if (old != nullptr) count();
  __libc_free(old);
}
}

namespace {

struct Case {
  const char *name;
  void (*handler)(int);
  int status;
  int ticks;
};

void turnLedsOff(int) {
  setLedOff();
}

constexpr int kTicksUntilTimeout = 1200;

constexpr Case kCases[] = {
    {"start", WPSAPTimerHandler, 3, 1},
    {"poll", WPSAPTimerHandler, 5, 1},
    {"idle", WPSAPTimerHandler, 1, 1},
    {"failure", WPSAPTimerHandler, 2, 1},
    {"overlap", WPSAPTimerHandler, 265, 1},
    {"success", WPSAPTimerHandler, 34, 1},
    {"client polls", WPSAPCliTimerHandler, 3, 1},
    {"client fails", WPSAPCliTimerHandler, 2, 1},
    {"client succeeds", WPSAPCliTimerHandler, 34, 1},
    {"single trigger", WPSSingleTriggerHandler, 0, 1},
    {"lights out", turnLedsOff, 0, 1},
    {"client gives up", WPSAPCliTimerHandler, 0, kTicksUntilTimeout},
};

// While one lives, standard output is a file and nothing has been printed to it yet,
// so that it has no buffer.
class FreshOutput {
 public:
  FreshOutput() {
    fflush(before_);
    int file = open("/tmp/output", O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDOUT_FILENO);
    stdout = fdopen(file, "w");
  }
  ~FreshOutput() {
    fclose(stdout);
    stdout = before_;
    dup2(screen_, STDOUT_FILENO);
    close(screen_);
  }

 private:
  FILE *before_ = stdout;
  int screen_ = dup(STDOUT_FILENO);
};

void countIn(const Case &each, const char *what) {
  machine::status = each.status;
  resetTimerAll();
  resetTimerAllApCli();
  allocations = 0;
  {
    FreshOutput output;
    counting = true;
    for (int tick = 0; tick < each.ticks; tick++) each.handler(SIGALRM);
    counting = false;
  }
  EXPECT_EQ(allocations, 0) << each.name << ", " << what;
}

// Every kind of network, good and bad, with and without LEDs, files and drivers.
TEST(Allocations, NoHandlerMakesAny) {
  machine::run(
      [] {
        machine::set(1, "OperationMode", "1");
        machine::set(1, "WscModeOption", "7");
        machine::set(2, "WscModeOption", "7");
        machine::set(1, "AccessPolicy0", "1");
        machine::set(1, "BssidNum", "1");
        machine::set(1, "authentication", "1");
        machine::set(1, "encryption", "8");
        for (const char *mode : {"1", "3"}) {
          machine::set(1, "WirelessOPMode", mode);
          for (const Case &each : kCases) {
            machine::write("/tmp/wpsStatus", "2\n");
            countIn(each, mode);
          }
        }
        EXPECT_STREQ(nvram_get(1, "ApCliWPAPSK"), "secret");
        for (const char *authentication : {"2", "99"}) {
          for (const char *encryption : {"1", "2", "4", "99"}) {
            machine::set(1, "WscConfigured", "0");
            setVarWscConfigured(0);
            machine::set(1, "authentication", authentication);
            machine::set(1, "encryption", encryption);
            countIn(kCases[5], encryption);
            EXPECT_STREQ(nvram_get(1, "WscConfigured"), "1");
          }
        }
        EXPECT_NE(machine::read("/tmp/output").find("invalid authmode\n."), std::string::npos);

        for (const char *file : {"/dev/gpio", "/dev/console", "/tmp/wpsStatus", "/var/wscResult"}) {
          unlink(file);
        }
        for (const Case &each : kCases) countIn(each, "without files");
      },
      60);
}

volatile int ended;

void joinsAndGoesOn(int signal) {
  WPSAPCliTimerHandler(signal);
  ended = ended + 1;
  setTimer(3000, joinsAndGoesOn);
}

// The signal comes in the midst of malloc and free.
TEST(Allocations, AProgramThatMakesThemAllTheTimeGoesOn) {
  machine::run(
      [] {
        machine::status = 34;
        setTimer(3000, joinsAndGoesOn);
        void *held[64] = {};
        for (unsigned turn = 0; ended < 60; turn++) {
          void *&place = held[turn % 64];
          free(place);
          place = malloc(16 + turn * 37 % 3000);
          ASSERT_NE(place, nullptr);
        }
        stopTimer();
        for (void *place : held) free(place);
        EXPECT_STREQ(nvram_get(1, "ApCliSsid"), "home");
      },
      60);
}

}  // namespace
