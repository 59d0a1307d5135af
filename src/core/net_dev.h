// The kernel's traffic counters.
#ifndef ORBA_CORE_NET_DEV_H
#define ORBA_CORE_NET_DEV_H

#pragma GCC visibility push(hidden)
namespace orba {

enum NetDevCounter { kSentBytes = 0, kSentPackets = 1, kReceivedBytes = 2, kReceivedPackets = 3 };

// One counter of one interface from /proc/net/dev: 0 when the interface is not
// listed or `which` is no counter, -1 (and "no proc?\n" on standard output)
// when the file cannot be opened.
long long readNetDevCounter(const char *ifname, int which);

}  // namespace orba
#pragma GCC visibility pop

#endif
