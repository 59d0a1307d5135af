// A way to the 2.4 GHz driver's requests.
#ifndef ORBA_NET_DRIVER_SOCKET_H
#define ORBA_NET_DRIVER_SOCKET_H

#pragma GCC visibility push(hidden)
namespace orba {

// A datagram socket of the first address family that this kernel has: any of them
// reaches the driver. -1 when there is none.
int openDriverSocket();

}  // namespace orba
#pragma GCC visibility pop

#endif
