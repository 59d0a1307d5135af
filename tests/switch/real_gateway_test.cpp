// A lease file that is an attack, with the real shell and the real programs.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "switch/gateway_mac.h"

// "-f/dev/zero" makes `grep` read patterns until all memory is taken.
TEST(Gateway, ThatIsAnOptionDoesNotReachTheProgram) {
  constexpr int kNoNamespace = 77;
  constexpr long kMostKilobytes = 64 << 10;
  pid_t child = fork();
  if (child == 0) {
    alarm(60);
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/var", "tmpfs", 0, "") != 0) {
      _exit(kNoNamespace);
    }
    std::ofstream("/var/wan1.info") << "-f/dev/zero:eth2.2\n";
    // The machine is to live through a test that fails.
    std::ofstream("/var/grep") << "#!/bin/sh\nulimit -v 524288\nPATH=${PATH#*:} exec grep \"$@\"\n";
    chmod("/var/grep", 0755);
    setenv("PATH", ("/var:" + std::string(getenv("PATH"))).c_str(), 1);
    if (freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
    orba::GatewayMac mac;
    orba::lookUpGateway({"ping -c 1 %s", "arp -an | grep %s"}, mac);
    rusage used;
    getrusage(RUSAGE_CHILDREN, &used);
    _exit(mac.empty() && used.ru_maxrss < kMostKilobytes ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoNamespace) {
    GTEST_SKIP() << "no mounts of its own for a process here";
  }
  EXPECT_EQ(status, 0);
}
