/* A store whose power goes, or whose disk fails, at any moment of a commit. */
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/nvram/store.h"
#include "tests/nvram/disk.h"
#include "tests/nvram/processes.h"

namespace {

namespace fs = std::filesystem;
using nvram::Settings;
using nvram::Store;

const Settings kChanges = {{"key", ""}, {"mode", "3"}, {"ssid", "a new and longer\nname"}};

const struct {
  const char *name;
  Disk::Files before;  // without any there is no folder either
} kSituations[] = {
    {"first start", {}},
    {"change", {{"space1.conf", "key=secret, and longer\nmode=1\nother=1\n"}, {"space1.lock", ""}}},
    {"after a killed writer", {{"space1.conf", "mode=1\n"}, {"space1.conf.new", "mode=2\nss"}}},
    {"damaged file", {{"space1.conf", "mode=1\nssid\n"}, {"space1.conf.damaged", "older\n"}}},
};

void put(const Disk::Files &files, const StoreFolder &folder) {
  fs::remove_all(folder.path());
  if (files.empty()) return;
  fs::create_directory(folder.path());
  for (const auto &[name, text] : files) folder.write(name, text);
}

Disk::Files filesOf(const StoreFolder &folder) {
  Disk::Files files;
  if (!fs::exists(folder.path())) return files;
  for (const auto &file : fs::directory_iterator(folder.path())) {
    files[file.path().filename()] = StoreFolder::contents(file.path());
  }
  return files;
}

// What a program that starts now finds.
Settings settingsOf(const StoreFolder &folder) {
  return Store(folder.path()).settings(1);
}

Settings with(Settings changes, const Settings &before) {
  changes.insert(before.begin(), before.end());
  return changes;
}

// Why `work` failed, 0 when it did not.
template <typename Work>
int reasonOf(Work work) try {
  work();
  return 0;
} catch (const std::system_error &failure) {
  return failure.code().value();
}

void buffer(Store &store) {
  for (const auto &[key, value] : kChanges) store.setBuffered(1, key, value);
}

std::ptrdiff_t openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST(PowerCut, LeavesTheOldOrTheNewContentsAtEveryByte) {
  for (const auto &[name, before] : kSituations) {
    SCOPED_TRACE(name);
    StoreFolder folder(kMemory);
    const bool damaged = before.count("space1.conf.damaged") != 0;
    const std::string errors = errorsOf(folder, [&] {
      put(before, folder);
      const Settings old = settingsOf(folder), fresh = with(kChanges, old);
      std::map<Disk::Files, bool> left_behind;
      {
        Disk disk(folder.path());
        Store store(folder.path());
        buffer(store);
        store.commit(1);
        disk.acknowledge();
        ASSERT_EQ(disk.files(), filesOf(folder)) << "something was done behind the disk's back";
        left_behind = disk.leftBehind();
      }
      int starts[2] = {};
      for (const auto &[files, acknowledged] : left_behind) {
        put(files, folder);
        const Settings found = settingsOf(folder);
        const bool is_fresh = found == fresh;
        ASSERT_TRUE(is_fresh || (found == old && !acknowledged)) << testing::PrintToString(files);
        if (damaged && is_fresh) {
          ASSERT_EQ(folder.read("space1.conf.damaged"), before.at("space1.conf"));
        }
        starts[is_fresh]++;
        // And whoever writes next finds nothing in the way.
        Disk disk(folder.path());
        disk.fail(-1, 0);
        Store(folder.path()).set(1, "next", "1");
        ASSERT_EQ(settingsOf(folder), with({{"next", "1"}}, found));
      }
      printf("%s: %d starts with the old contents, %d with the new\n", name, starts[0], starts[1]);
      EXPECT_GT(starts[0], 150) << "one a byte at least";
      EXPECT_GT(starts[1], 0);
    });
    if (!damaged) {
      EXPECT_EQ(errors, "");
    }
  }
}

// Each call of a commit fails, in every way, once or with all that follow.
TEST(FailingDisk, LeavesTheNewContentsOrSaysWhyNotAndLeavesTheOld) {
  const struct {
    int error;
    bool for_good;
  } failings[] = {{EIO, false}, {ENOSPC, false}, {EINTR, false}, {EACCES, false},
                  {0, false},   {EIO, true},     {EROFS, true}};
  int failures = 0, reported = 0, not_taken_back = 0;
  for (const auto &[name, before] : kSituations) {
    for (const auto [error, for_good] : failings) {
      StoreFolder folder(kMemory);
      for (int call = 0, calls = 1; call < calls; ++call) {
        SCOPED_TRACE(std::string(name) + ", call " + std::to_string(call) + ", " + strerror(error));
        testing::internal::CaptureStderr();
        put(before, folder);
        const Settings old = settingsOf(folder), fresh = with(kChanges, old);
        const std::ptrdiff_t open = openDescriptors();
        Store store(folder.path());
        buffer(store);
        Disk disk(folder.path());
        disk.fail(call, error, for_good);
        const int reason = reasonOf([&] { store.commit(1); });
        reported += reason != 0;
        if (disk.calls() > call) ++failures, calls = call + 2;
        disk.fail(-1, 0);
        EXPECT_EQ(openDescriptors(), open);
        // A leftover that cannot be removed is told by what it leads to.
        EXPECT_TRUE(reason == 0 || reason == error || reason == EEXIST) << reason;
        EXPECT_EQ(settingsOf(folder), reason == 0 ? fresh : old);
        if (reason == 0 && before.count("space1.conf.damaged") != 0) {
          EXPECT_EQ(folder.read("space1.conf.damaged"), before.at("space1.conf"));
        }
        const bool told = testing::internal::GetCapturedStderr().find("a power cut may undo it") !=
                          std::string::npos;
        not_taken_back += told;
        EXPECT_FALSE(told && !for_good);
        EXPECT_TRUE(disk.durable() || reason != 0 || told);
        if (!for_good) {
          EXPECT_LE(filesOf(folder).count("space1.conf.new"), before.count("space1.conf.new"));
        }
        // What could not be committed is still there for another commit.
        testing::internal::CaptureStderr();
        EXPECT_STREQ(store.getBuffered(1, "mode"), "3");
        store.commit(1);
        EXPECT_EQ(settingsOf(folder), fresh);
        EXPECT_TRUE(disk.durable() || told);
        testing::internal::GetCapturedStderr();
      }
    }
  }
  printf("%d failing calls, %d of them reported, %d changes that could not be taken back\n",
         failures, reported, not_taken_back);
  EXPECT_GT(failures, 400);
  EXPECT_GT(reported, failures / 2);
  EXPECT_GT(not_taken_back, 0);
}

TEST(FailingDisk, LeavesAReaderWithWhatItKnew) {
  StoreFolder folder(kMemory);
  Disk disk(folder.path());
  disk.fail(-1, 0);
  bool failed = true;
  for (int call = 0; failed; ++call) {
    SCOPED_TRACE(call);
    testing::internal::CaptureStderr();
    folder.write("space1.conf", "a=old\n");
    Store store(folder.path());
    EXPECT_STREQ(store.get(1, "a"), "old");
    folder.write("space1.conf", "a=edited\n");
    disk.fail(call, EMFILE);
    const char *const known = store.get(1, "a");
    failed = disk.calls() > call;
    EXPECT_STREQ(known, failed ? "old" : "edited");
    disk.fail(-1, 0);
    EXPECT_STREQ(store.get(1, "a"), "edited");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              failed ? folder.file("space1.conf") + ": cannot be read: Too many open files\n" : "");
  }
}

// Every file has the size of the one before, and the clock stands still.
TEST(CoarseClock, HidesNoCommitAndNoEditAndCostsNothingAfterwards) {
  for (const int tick : {1, 2}) {
    SCOPED_TRACE(tick);
    StoreFolder folder;
    folder.write("space1.conf", "a=0\n");
    Disk disk(folder.path());
    disk.fail(-1, 0);
    disk.tick(tick);
    Store reader(folder.path()), writer(folder.path());
    std::int64_t last = 0;
    for (const char *value : {"1", "2", "3", "4", "5"}) {
      writer.set(1, "a", value);
      EXPECT_STREQ(reader.get(1, "a"), value);
      const auto written = nvram::identify(folder.file("space1.conf"));
      EXPECT_GT(written->modified, last) << "a clock that is set back";
      last = written->modified;
    }
    for (const char *value : {"6", "7", "8"}) {
      folder.write("space1.conf", std::string("a=") + value + "\n");
      for (Store *store : {&reader, &writer}) EXPECT_STREQ(store->get(1, "a"), value);
    }
    disk.ahead(2 * tick + 1);
    EXPECT_STREQ(reader.get(1, "a"), "8");
    const int before = disk.calls();
    EXPECT_STREQ(reader.get(1, "a"), "8");
    EXPECT_EQ(disk.calls(), before + 1);
    disk.ahead(0);
    disk.refuseTimes();
    EXPECT_NO_THROW(writer.set(1, "a", "9"));
  }
}

// A group's file is its own lock, and is replaced by whoever holds it.
TEST(Lock, OfAFileThatIsNoLongerThereIsNone) {
  StoreFolder folder;
  folder.write("space1.conf", "a=old\n");
  Disk disk(folder.path());
  disk.fail(-1, 0);
  Store store(folder.path());
  for (const mode_t mode : {0600, 0660}) {
    fs::permissions(folder.file("space1.conf"), fs::perms(mode));
    disk.before_lock = [&] {
      folder.write("space1.conf.fresh", "a=theirs\n");
      fs::permissions(folder.file("space1.conf.fresh"), fs::perms(0660));
      fs::rename(folder.file("space1.conf.fresh"), folder.file("space1.conf"));
    };
    EXPECT_EQ(reasonOf([&] { store.set(1, "b", "ours"); }), EWOULDBLOCK);
    EXPECT_EQ(folder.read("space1.conf"), "a=theirs\n");
    store.set(1, "b", "ours");
    EXPECT_EQ(settingsOf(folder), (Settings{{"a", "theirs"}, {"b", "ours"}}));
  }
}

}  // namespace
