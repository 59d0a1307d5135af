#ifndef ORBA_FIREWALL_SUPER_DMZ_H
#define ORBA_FIREWALL_SUPER_DMZ_H

namespace orba {

// Starts /bin/super_dmz and tells it which ports are forwarded already.
void runSuperDmz();

}  // namespace orba

#endif
