// How far the WPS run of this process has come.
#ifndef ORBA_WIRELESS_WPS_STATE_H
#define ORBA_WIRELESS_WPS_STATE_H

#pragma GCC visibility push(hidden)
namespace orba {

// Touched from ordinary code and from the SIGALRM handlers without locks: every
// write is one aligned word.
struct WpsState {
  volatile int configured;      // the access point has a configuration
  volatile int enrollee;        // a single-trigger run is in progress
  volatile int started;         // the monitor has seen the driver start
  volatile int elapsed;         // of the access point's monitor, in milliseconds
  volatile int client_elapsed;  // of the client's
  volatile int result;          // of the last run, for whoever looks into the process
};

extern WpsState wps_state;

// The driver's status codes that mean something to the monitors.
enum WscStatus : int {
  kWscIdle = 1,
  kWscFailed = 2,
  kWscStarted = 3,
  kWscSucceeded = 34,
  kWscOverlap = 265,  // two push buttons at once
};

constexpr int kWpsSucceeded = 1;
constexpr int kWpsFailed = -1;

// Copies WscConfigured into the flag.
void readWscConfigured();

// Has the interval timer call a monitor every 100 ms.
void startWpsMonitor(void (*tick)(int));

// Counts one tick. False once 120 seconds of them have been counted.
bool wpsTimeIsLeft(volatile int &elapsed);

}  // namespace orba
#pragma GCC visibility pop

#endif
