// The table of settings, and what is told of a name.
#include <gmock/gmock.h>

#include <sstream>

#include "tools/catalog/entry_point.h"
#include "tools/catalog/settings.h"
#include "tools/show/explain.h"

using namespace orba::tool;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string explained(const std::string &name, bool json = false) {
  std::ostringstream out;
  try {
    explain(out, name, json);
  } catch (const BadArgument &error) {
    return error.what();
  }
  return out.str();
}

}  // namespace

TEST(Settings, AreFoundByTheirNames) {
  EXPECT_EQ(descriptionOf("wan3Vid", 1)->key, "wan%dVid");
  for (const char *other : {"wanVid", "wan3Vids", "wanxVid", "DMZ", ""}) {
    EXPECT_EQ(descriptionOf(other, 1), nullptr) << other;
  }
  EXPECT_EQ(descriptionOf("DMZEnable", 2), nullptr);
}

TEST(Explain, TellsWhoUsesASettingInEachSpace) {
  // Asked for only behind two other settings.
  EXPECT_THAT(explained("wan_MTU"), HasSubstr("read by    firewall_init, iptablesPathMTU\n"));
  std::string mode = explained("WscModeOption");
  EXPECT_THAT(mode, HasSubstr("WPSRestart"));
  EXPECT_THAT(mode.substr(mode.find("in space 2")), HasSubstr("read by    WPSAPCliTimerHandler\n"));
  EXPECT_THAT(explained("velaSetup", true), HasSubstr(R"("read_by": [],
    "written_by": [
      "WPSAPCliTimerHandler"
    ])"));
}

TEST(Explain, TellsWhatAnEntryPointDoesWhen) {
  EXPECT_THAT(explained("iptablesDMZRun"),
              HasSubstr("\nwith `DMZEnable=2`:\n  /bin/super_dmz -t 80 "));
  // A setting that its caller names is not its own.
  EXPECT_THAT(explained("STF"), Not(HasSubstr("PortForwardRules")));
}

TEST(Explain, OffersNearNames) {
  EXPECT_EQ(
      explained("DMZenable"),
      "there is no setting and no entry point 'DMZenable'; did you mean DMZEnable, DSTEnabled?");
  EXPECT_THAT(explained("firewalAction"), HasSubstr("did you mean firewallAction"));
  EXPECT_EQ(explained("zzzzzz"),
            "there is no setting and no entry point 'zzzzzz'; 'orba explain' shows all settings");
}
