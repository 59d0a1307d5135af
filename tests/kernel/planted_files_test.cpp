// What others put where the library's files belong.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "nvram.h"
#include "orba_util.h"
#include "tests/kernel/machine.h"

namespace {

constexpr char kSecret[] = "/tmp/secret";

// Only root can let somebody else in.
class PlantedFiles : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "no second user without root";
  }
};

struct Writer {
  const char *path;
  void (*write)();
  const char *text;  // what stands there afterwards
};

constexpr Writer kWriters[] = {
    {"/tmp/wpsStatus24", [] { WPSAPTimerHandler(SIGALRM); }, "3\n"},
    {"/tmp/wpsStatus24", updateWpsStatusFlag, "999\n"},
    {"/tmp/wpsStatus", updateWpsStatusFlag, "999\n"},
    {"/var/wscResult", [] { setWscResult(-1); }, "-1"},
    {"/var/wscResult", [] { getWscResult(); }, "0"},
    {"/tmp/apcli.info",
     [] {
       machine::status = 34;
       WPSAPCliTimerHandler(SIGALRM);
     },
     ""},
    {"/var/cpuload",
     [] {
       char load[16];
       getCpuLoad(load, 0, nullptr);
     },
     ""},
};

bool isThere(const char *path) {
  struct stat status;
  return lstat(path, &status) == 0;
}

// Only who owns what is in it can empty it.
void makeFolder(const char *path) {
  EXPECT_EQ(mkdir(path, 0777), 0);
  EXPECT_EQ(mkdir((std::string(path) + "/x").c_str(), 0777), 0);
}

TEST_F(PlantedFiles, AreReplacedAndNotFollowed) {
  const std::pair<const char *, void (*)(const char *)> plants[] = {
      {"a link", [](const char *path) { EXPECT_EQ(symlink(kSecret, path), 0); }},
      {"a link to nothing yet", [](const char *path) { EXPECT_EQ(symlink("/tmp/new", path), 0); }},
      {"a FIFO", [](const char *path) { EXPECT_EQ(mkfifo(path, 0666), 0); }},
      {"a file", [](const char *path) { machine::write(path, "1\n"); }},
      {"a folder", makeFolder},
  };
  for (const auto &[name, plant] : plants) {
    SCOPED_TRACE(name);
    machine::run([plant = plant] {
      chmod("/var", 0777);
      for (const Writer &writer : kWriters) {
        SCOPED_TRACE(writer.path);
        machine::status = 3;
        machine::write("/tmp/wpsStatus", "2\n");
        machine::write(kSecret, "secret");
        unlink(writer.path);
        machine::asStranger([&] { plant(writer.path); });
        writer.write();
        EXPECT_EQ(machine::read(kSecret), "secret");
        EXPECT_FALSE(isThere("/tmp/new"));
        EXPECT_EQ(machine::read(writer.path), writer.text);
        struct stat status;
        if (lstat(writer.path, &status) == 0) {
          EXPECT_EQ(status.st_mode, S_IFREG | 0644u);
          EXPECT_EQ(status.st_uid, 0u);
        }
      }
    });
  }
}

// As whoever may make links to files of root's could, on an older kernel.
TEST_F(PlantedFiles, ASecondNameOfAnotherFileIsNotWrittenTo) {
  machine::run([] {
    machine::write(kSecret, "secret");
    ASSERT_EQ(link(kSecret, "/tmp/wpsStatus24"), 0);
    updateWpsStatusFlag();
    EXPECT_EQ(machine::read(kSecret), "secret");
    EXPECT_EQ(machine::read("/tmp/wpsStatus24"), "999\n");
  });
}

// Its maker goes on writing to it, and would decide which network is joined.
TEST_F(PlantedFiles, DoNotChooseTheNetworkNorTellItsKey) {
  machine::run([] {
    int file = -1;
    machine::besideStranger(
        [&] {
          file = open("/tmp/apcli.info", O_WRONLY | O_CREAT, 0666);
          EXPECT_GE(file, 0);
        },
        [&] {
          const char network[] = "SSID = evil\nAuthType = OPEN\nEncrypType = NONE\n";
          (void)!pwrite(file, network, sizeof network - 1, 0);
        });
    machine::status = 34;
    WPSAPCliTimerHandler(SIGALRM);
    EXPECT_STREQ(nvram_get(1, "ApCliSsid"), "home");
    EXPECT_STREQ(nvram_get(1, "ApCliAuthMode"), "WPA2PSK");
    EXPECT_STREQ(nvram_get(1, "ApCliWPAPSK"), "secret");
    EXPECT_FALSE(isThere("/tmp/apcli.info"));
    EXPECT_NE(machine::read("/var/journal").find("iwpriv apcli0 stat\n600\n"), std::string::npos);
  });
}

TEST_F(PlantedFiles, AreNotReadNorWaitedFor) {
  for (mode_t kind : {S_IFREG, S_IFIFO, S_IFDIR}) {
    machine::run([kind] {
      chmod("/var", 0777);
      mkdir("/var/run", 0777);
      chmod("/var/run", 0777);
      machine::asStranger([&] {
        for (const char *path : {"/tmp/wpsStatus", "/tmp/wpsStatus5G", "/tmp/wan_index",
                                 "/var/wan1.info", "/tmp/do_vela", "/var/run/mini_httpd.pid"}) {
          EXPECT_EQ(kind == S_IFDIR ? mkdir(path, 0777) : mknod(path, kind | 0666, 0), 0);
          if (kind == S_IFREG) machine::write(path, "1:\n");
        }
      });
      EXPECT_EQ(getWscResultOrba(), -1);
      EXPECT_EQ(getWscResultGUIOrba(), -1);
      EXPECT_EQ(readHttpdPid(), 0);
      EXPECT_EQ(igmpsnooping_init(), 0);
      char gateway[16];
      machine::set(1, "OperationMode", "1");
      EXPECT_EQ(getGatewayByInterface("eth2.2", gateway), 0);
      EXPECT_STREQ(gateway, "0.0.0.0");
      igmpsnoopingenable();
      initInternet();
      EXPECT_EQ(machine::read("/var/journal").find("internet.sh"), 0u);
    });
  }
}

// At any moment between a look at the place and a command that reads there.
TEST_F(PlantedFiles, ThatComeAndGoAreNotWaitedFor) {
  machine::run([] {
    chmod("/var", 01777);
    machine::besideStranger([] {},
                            [] {
                              mkfifo("/var/wan1.info", 0666);
                              unlink("/var/wan1.info");
                            });
    for (int i = 0; i < 40; i++) igmpsnoopingenable();
  });
}

TEST_F(PlantedFiles, ALockThatIsNeverLetGoIsNotWaitedForWithoutEnd) {
  machine::run([] {
    setWscResult(1);
    machine::besideStranger([] { EXPECT_EQ(flock(open("/var/wscResult", O_RDONLY), LOCK_EX), 0); },
                            [] { pause(); });
    long start = machine::millisecondsNow();
    EXPECT_EQ(getWscResult(), 1);
    setWscResult(-1);
    EXPECT_EQ(getWscResult(), -1);
    EXPECT_LT(machine::millisecondsNow() - start, 10000);
  });
}

TEST(SharedResult, IsNeverSeenHalfWritten) {
  machine::run([] {
    setWscResult(1);
    pid_t writer = fork();
    if (writer == 0) {
      for (int i = 0; i < 300; i++) setWscResult(i % 2 == 0 ? -1 : 1);
      _exit(0);
    }
    int wrong = 0;
    while (waitpid(writer, nullptr, WNOHANG) == 0) {
      int fd = open("/var/wscResult", O_RDONLY);
      flock(fd, LOCK_EX);
      char text[8] = "";
      ssize_t length = read(fd, text, sizeof text - 1);
      close(fd);
      std::string found(text, static_cast<size_t>(length));
      if (found != "1" && found != "-1") wrong++;
    }
    EXPECT_EQ(wrong, 0);
  });
}

}  // namespace
