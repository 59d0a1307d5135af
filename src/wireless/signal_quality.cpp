// Signal strength as the pages show it.
#include "orba_util.h"

// 2.6 points a dBm on either slope. That they meet with a step of one point
// between -80 and -81 dBm is meant.
unsigned int ConvertRssiToSignalQuality(int rssi) {
  if (rssi >= -50) return 100;
  if (rssi >= -80) return static_cast<unsigned>((rssi + 80) * 26 / 10 + 24);
  if (rssi >= -90) return static_cast<unsigned>((rssi + 90) * 26 / 10);
  return 0;
}
