#ifndef ORBA_FIREWALL_SUPER_DMZ_H
#define ORBA_FIREWALL_SUPER_DMZ_H

#pragma GCC visibility push(hidden)
namespace orba {

// Starts /bin/super_dmz and tells it which ports are forwarded already.
void runSuperDmz();

}  // namespace orba
#pragma GCC visibility pop

#endif
