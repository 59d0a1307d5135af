// Making the network that the AP client has joined by push button its setting.
#ifndef ORBA_WIRELESS_WPS_CLIENT_NETWORK_H
#define ORBA_WIRELESS_WPS_CLIENT_NETWORK_H

#pragma GCC visibility push(hidden)
namespace orba {

// Gathers the driver's statistics of the client in /tmp/apcli.info and stores
// the network they name; a repeater announces the same network itself. Commits.
// Stores nothing when the file cannot be opened.
void storeClientNetwork(bool repeater);

}  // namespace orba
#pragma GCC visibility pop

#endif
