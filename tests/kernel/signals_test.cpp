// The interval timer and the monitors that it drives, with the kernel's signals.
#include <sys/time.h>

#include <cerrno>
#include <csignal>

#include "orba_util.h"
#include "tests/kernel/machine.h"

namespace {

using machine::wait;

constexpr char kSuccessLights[] = "14:0/4000 10:0/4000 ";
constexpr char kFailureLights[] = "14:0/4000 9:0/4000 ";

volatile int first_calls, second_calls;

void second(int) {
  second_calls = second_calls + 1;
}

// Takes longer than its period of 5 ms, so that the next signal waits already.
void slowAndStops(int) {
  first_calls = first_calls + 1;
  wait(20);
  stopTimer();
}

void slowAndHandsOver(int) {
  first_calls = first_calls + 1;
  wait(20);
  setTimerOnce(60, second);
}

sighandler_t handler() {
  struct sigaction action;
  sigaction(SIGALRM, nullptr, &action);
  return action.sa_handler;
}

TEST(Timer, LeavesNothingPendingBehind) {
  machine::run([] {
    EXPECT_EQ(setTimer(5000, slowAndStops), 0);
    wait(100);
    EXPECT_EQ(first_calls, 1);
    EXPECT_EQ(handler(), slowAndStops);

    EXPECT_EQ(setTimer(5000, slowAndHandsOver), 0);
    wait(100);
    EXPECT_EQ(first_calls, 2);
    EXPECT_EQ(second_calls, 0);

    // Outside a handler, where the caller keeps the signal waiting.
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    for (int (*replace)() : {+[] { return stopTimer(); }, +[] { return setTimerOnce(60, second); },
                             +[] { return setFullTimer(60, 0, second); }}) {
      EXPECT_EQ(setTimer(5000, second), 0);
      sigprocmask(SIG_BLOCK, &alarm, nullptr);
      wait(20);
      EXPECT_TRUE(machine::alarmIsPending());
      EXPECT_EQ(replace(), 0);
      EXPECT_FALSE(machine::alarmIsPending());
      second_calls = 0;
      sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
      EXPECT_EQ(second_calls, 0);
      EXPECT_EQ(handler(), second);
      stopTimer();
    }

    // What the kernel refuses leaves the timer as it was.
    EXPECT_EQ(setTimer(20000, second), 0);
    errno = 0;
    EXPECT_EQ(setTimer(1000000, second), -1);
    EXPECT_EQ(errno, EINVAL);
    wait(100);
    EXPECT_GE(second_calls, 2);
    stopTimer();
  });
}

// The 5 GHz side's answer takes three periods.
TEST(Monitors, TheSuccessLightIsSeen) {
  machine::run([] {
    machine::write("/tmp/wpsStatus5G", "1\n");
    machine::set(1, "WscConfigured", "1");
    machine::status = 3;
    WPSAPPBCStartAll();
    wait(250);
    *machine::leds = '\0';
    machine::status = 34;
    wait(1000);
    EXPECT_STREQ(machine::leds, kSuccessLights);
    EXPECT_NE(machine::read("/var/journal").find("wlan_5G.sh WPS CANCEL\n"), std::string::npos);
    EXPECT_EQ(reinterpret_cast<void *>(handler()), reinterpret_cast<void *>(setLedOff));
    itimerval timer;
    getitimer(ITIMER_REAL, &timer);
    EXPECT_GE(timer.it_value.tv_sec, 8);
  });
}

TEST(Monitors, AnEndIsHandledOnce) {
  const struct {
    const char *name;
    void (*start)();
    int status;
    const char *trace, *lights;
  } ends[] = {
      {"failure", WPSAPPBCStartAll, 2, "Wsc: unknown error\n", kFailureLights},
      {"idle", WPSAPPBCStartAll, 1, "Wsc: idle\n", "14:0/4000 "},
      {"overlap", WPSAPPBCStartAll, 265, "Wsc: overlap detected\n", "9:0/4000 "},
      {"the client's failure", WPSAPCliPBCStart, 2, "Apcli: unknown error\n", kFailureLights},
  };
  for (const auto &end : ends) {
    SCOPED_TRACE(end.name);
    machine::run([&] {
      machine::write("/tmp/wpsStatus", "1\n");
      end.start();
      *machine::leds = '\0';
      machine::status = end.status;
      machine::shell_milliseconds = 60;
      wait(1000);
      EXPECT_EQ(machine::read("/dev/console"), end.trace);
      EXPECT_STREQ(machine::leds, end.lights);
      EXPECT_EQ(machine::read("/tmp/wpsStatus"), "2\n");
    });
  }
}

// The C library's system() holds a lock for a moment, for which a second one waits.
TEST(Monitors, MayTickWhileTheProgramRunsCommands) {
  machine::run(
      [] {
        machine::status = 3;
        WPSAPStart();
        setTimer(2500, WPSAPTimerHandler);
        for (int i = 0; i < 120; i++) {
          for (int j = 0; j < 10; j++) doSystem("true");
          wait(5);
        }
        stopTimer();
        EXPECT_EQ(machine::read("/tmp/wpsStatus24"), "3\n");
      },
      8);
}

TEST(Pauses, LastWhateverTheTimerDoes) {
  const struct {
    void (*pause)();
    long milliseconds;
  } cases[] = {{[] { clearlog(); }, 1000}, {[] { resetEthernetSwitchPort(3); }, 4000}};
  for (const auto &[pause, milliseconds] : cases) {
    machine::run([pause = pause, milliseconds = milliseconds] {
      ASSERT_EQ(chdir("/tmp"), 0);  // which gets a file named null
      second_calls = 0;
      setTimer(100000, second);
      long start = machine::millisecondsNow();
      pause();
      long taken = machine::millisecondsNow() - start;
      EXPECT_GE(taken, milliseconds);
      EXPECT_LT(taken, milliseconds + 900);
      EXPECT_GE(second_calls, milliseconds / 100 - 2);
    });
  }
}

}  // namespace
