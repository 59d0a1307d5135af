// The states of the running WPS sessions, in files that the web pages, the LED
// tool and the 5 GHz side read.
#ifndef ORBA_WIRELESS_WPS_STATUS_FILE_H
#define ORBA_WIRELESS_WPS_STATUS_FILE_H

#pragma GCC visibility push(hidden)
namespace orba {

// /tmp/wpsStatus24 holds the status of the 2.4 GHz driver, /tmp/wpsStatus the
// state of the session as a whole; 999 stands for no session in both.
void writeStatus24(int status);
void clearStatus24();
void clearStatus();
// The same with the shell's output left where it is.
void clearStatusDirectly();

}  // namespace orba
#pragma GCC visibility pop

#endif
