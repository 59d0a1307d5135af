// A lease file that is an attack, with the real shell and the real programs.
#include <sys/resource.h>

#include <cstdlib>

#include "switch/gateway_mac.h"
#include "tests/own_world.h"

// "-f/dev/zero" makes `grep` read patterns until all memory is taken.
TEST(Gateway, ThatIsAnOptionDoesNotReachTheProgram) {
  constexpr long kMostKilobytes = 64 << 10;
  inOwnWorld({"/var"}, 0, [&] {
    put("/var/wan1.info", "-f/dev/zero:eth2.2\n");
    // The machine is to live through a test that fails.
    put("/var/grep", "#!/bin/sh\nulimit -v 524288\nPATH=${PATH#*:} exec grep \"$@\"\n", 0755);
    setenv("PATH", ("/var:" + std::string(getenv("PATH"))).c_str(), 1);
    ASSERT_NE(freopen("/dev/null", "w", stderr), nullptr);
    orba::GatewayMac mac;
    orba::lookUpGateway({"ping -c 1 %s", "arp -an | grep %s"}, mac);
    rusage used;
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_TRUE(mac.empty());
    EXPECT_LT(used.ru_maxrss, kMostKilobytes);
  });
}
