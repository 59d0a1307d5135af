// What the LEDs show of a WPS run.
#ifndef ORBA_WIRELESS_WPS_LEDS_H
#define ORBA_WIRELESS_WPS_LEDS_H

#pragma GCC visibility push(hidden)
namespace orba {

void showWpsStopped();
void showWpsReady();
void showWpsRunning();

// How a run ended; dark again ten seconds later unless the interval timer is
// needed for something else before.
void showWpsSuccess();
void showWpsFailure();
void showWpsOverlap();

}  // namespace orba
#pragma GCC visibility pop

#endif
