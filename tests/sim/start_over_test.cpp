// A device that many calls are made on, one after the other: none finds anything of the one before.
#include <gmock/gmock.h>

#include <fstream>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/temporary_folder.h"

namespace {

using ::testing::IsEmpty;
using ::testing::Optional;

constexpr char kKept[] = "/var/kept", kBelow[] = "/below", kMade[] = "/var/made/file";

class StartOver : public ::testing::Test {
 protected:
  StartOver() {
    std::ofstream(folder_.path() + kBelow) << "below\n";
    device_.lowerRoot(folder_.path()).file(kKept, "kept\n").keep();
  }

  void expectAsKept() {
    device_.rest();
    ASSERT_TRUE(device_.startOver());
    EXPECT_THAT(device_.text(kKept), Optional(std::string("kept\n")));
    EXPECT_THAT(device_.text(kBelow), Optional(std::string("below\n")));
    EXPECT_EQ(device_.text(kMade), std::nullopt);
    EXPECT_EQ(device_.setting("HostName"), std::nullopt);
    EXPECT_EQ(device_.bufget(1, "HostName"), nullptr);
    EXPECT_THAT(device_.events(), IsEmpty());
    EXPECT_EQ(device_.firstAsked().size(), 1u);  // just now
  }

  sim::TemporaryFolder folder_{"orba-test-"};
  sim::Device device_;
};

TEST_F(StartOver, FromFilesAndSettingsThatWereChanged) {
  for (bool on_disk : {false, true, false}) {
    if (on_disk) device_.root().forWriting(kMade);
    device_.settings({{"HostName", "router"}}).buffered({{"HostName", "other"}});
    device_.bufget(1, "OperationMode");
    doSystem("echo more > %s", kMade);
    doSystem("rm %s", kBelow);
    if (on_disk) device_.root().forReading(kKept);
    doSystem("rm %s", kKept);
    ASSERT_EQ(device_.text(kKept), std::nullopt);
    ASSERT_EQ(device_.text(kBelow), std::nullopt);
    expectAsKept();
  }
}

}  // namespace
