// Single traffic counters for the web pages.
#include <cstdio>

#include "core/net_dev.h"
#include "core/setting.h"
#include "net/interface_name.h"
#include "orba_util.h"
#include "status/radio_counter.h"

namespace orba {

namespace {

int answer(char *out, long long counter) {
  sprintf(out, "%lld", counter);
  return 1;
}

// Not counted, on purpose: the pages know -1 as the LAN's answer.
int answerLan(char *out) {
  return answer(out, -1);
}

int answerWlan(char *out, NetDevCounter which) {
  return answer(out, readNetDevCounter("ra0", which));
}

// Without a WAN's number nothing is written.
int answerWan(char *out, int argc, char **argv, NetDevCounter which) {
  int wan = argc >= 1 ? toNumber(argv[0]) : 0;
  if (wan < 1) return 1;
  InterfaceName name;
  wanDevice(wan, name);
  return answer(out, readNetDevCounter(name.text(), which));
}

int answerRadio(char *out, int argc, char **argv, uint32_t RadioCounters::*which) {
  RadioCounters counters;
  if (!RadioSocket().read(argc == 1 ? argv[0] : "ra0", counters)) return -1;
  return answer(out, counters.*which);
}

}  // namespace

}  // namespace orba

using orba::RadioCounters;

int getLANTxPacketASP(char *out, int, char **) {
  return orba::answerLan(out);
}

int getLANRxPacketASP(char *out, int, char **) {
  return orba::answerLan(out);
}

int getLANTxByteASP(char *out, int, char **) {
  return orba::answerLan(out);
}

int getLANRxByteASP(char *out, int, char **) {
  return orba::answerLan(out);
}

int getWLANTxPacketASP(char *out, int, char **) {
  return orba::answerWlan(out, orba::kSentPackets);
}

int getWLANRxPacketASP(char *out, int, char **) {
  return orba::answerWlan(out, orba::kReceivedPackets);
}

int getWLANTxByteASP(char *out, int, char **) {
  return orba::answerWlan(out, orba::kSentBytes);
}

int getWLANRxByteASP(char *out, int, char **) {
  return orba::answerWlan(out, orba::kReceivedBytes);
}

int getWANTxPacketASP(char *out, int argc, char **argv) {
  return orba::answerWan(out, argc, argv, orba::kSentPackets);
}

int getWANRxPacketASP(char *out, int argc, char **argv) {
  return orba::answerWan(out, argc, argv, orba::kReceivedPackets);
}

int getWANTxByteASP(char *out, int argc, char **argv) {
  return orba::answerWan(out, argc, argv, orba::kSentBytes);
}

int getWANRxByteASP(char *out, int argc, char **argv) {
  return orba::answerWan(out, argc, argv, orba::kReceivedBytes);
}

int getRaTxPacketASP(char *out, int argc, char **argv) {
  return orba::answerRadio(out, argc, argv, &RadioCounters::sent_packets);
}

int getRaRxPacketASP(char *out, int argc, char **argv) {
  return orba::answerRadio(out, argc, argv, &RadioCounters::received_packets);
}

int getRaTxByteASP(char *out, int argc, char **argv) {
  return orba::answerRadio(out, argc, argv, &RadioCounters::sent_bytes);
}

int getRaRxByteASP(char *out, int argc, char **argv) {
  return orba::answerRadio(out, argc, argv, &RadioCounters::received_bytes);
}
