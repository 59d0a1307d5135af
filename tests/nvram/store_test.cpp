#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "platform/nvram/nvram.h"
#include "tests/nvram/processes.h"

namespace {

using testing::EndsWith;

TEST(Store, BufferedChangesAreThisProcessesUntilCommitted) {
  StoreFolder folder;
  folder.write("space1.conf", "# by hand\nssid=old\nmode=1\n");
  inProcess([&] {
    const char *first = nvram_get(1, "ssid");
    EXPECT_EQ(nvram_bufset(2, "name", "old"), 0);
    EXPECT_EQ(nvram_bufget(2, "name"), first) << "each text is kept once";
    EXPECT_EQ(nvram_bufset(1, "ssid", "new"), 0);
    EXPECT_EQ(nvram_bufset(1, "key", "secret"), 0);
    EXPECT_STREQ(nvram_bufget(1, "ssid"), "new");
    EXPECT_STREQ(nvram_get(1, "ssid"), "old");
    EXPECT_EQ(failureOf(nvram_get(1, "key")), ENOENT);
    EXPECT_EQ(folder.read("space1.conf"), "# by hand\nssid=old\nmode=1\n");

    // Meanwhile another process commits, to a key of its own and to one that
    // is buffered here.
    inProcess([] {
      EXPECT_EQ(nvram_set(1, "mode", "3"), 0);
      EXPECT_EQ(nvram_set(1, "ssid", "theirs"), 0);
    });
    EXPECT_STREQ(nvram_bufget(1, "mode"), "3");
    EXPECT_STREQ(nvram_bufget(1, "ssid"), "new");

    // Setting one key leaves the others buffered.
    EXPECT_EQ(nvram_set(1, "ssid", "mine"), 0);
    EXPECT_STREQ(nvram_bufget(1, "ssid"), "mine");
    EXPECT_EQ(nvram_get(1, "key"), nullptr);
    EXPECT_STREQ(nvram_bufget(1, "key"), "secret");

    EXPECT_EQ(nvram_commit(1), 0);
    EXPECT_THAT(folder.read("space1.conf"), EndsWith("\nkey=secret\nmode=3\nssid=mine\n"));

    // What was committed is not buffered any more.
    inProcess([] { EXPECT_EQ(nvram_set(1, "key", "later"), 0); });
    EXPECT_EQ(nvram_commit(1), 0);
    EXPECT_STREQ(nvram_bufget(1, "key"), "later");

    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(nvram_bufset(2, "name", std::to_string(i).c_str()), 0);
      EXPECT_EQ(nvram_bufget(2, "name"), std::to_string(i));
    }
    EXPECT_STREQ(first, "old") << "and stays readable";
  });
}

TEST(Store, RefusesWhatCannotBeASetting) {
  StoreFolder folder;
  inProcess([&] {
    for (const char *key : {"", "a=b", "a\nb", "#a", "[a", static_cast<const char *>(nullptr)}) {
      for (const auto set : {nvram_set, nvram_bufset}) {
        EXPECT_EQ(failureOf(set(1, key, "v")), EINVAL);
      }
      for (const auto get : {nvram_get, nvram_bufget}) EXPECT_EQ(get(1, key), nullptr);
    }
    EXPECT_EQ(failureOf(nvram_bufset(1, "a", nullptr)), EINVAL);
    for (int space : {-1, 0, 10, 1 << 30}) {
      for (const auto set : {nvram_set, nvram_bufset}) {
        EXPECT_EQ(failureOf(set(space, "a", "v")), EINVAL);
      }
      for (const auto get : {nvram_get, nvram_bufget}) {
        EXPECT_EQ(failureOf(get(space, "a")), EINVAL);
      }
      EXPECT_EQ(failureOf(nvram_commit(space)), EINVAL);
    }
    EXPECT_EQ(nvram_commit(1), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  });
}

// Readers tell a new file by its time too, whatever the clock says.
TEST(Store, KeepsTheModeOfTheFileAndMovesItsTimeOn) {
  StoreFolder folder;
  std::filesystem::remove(folder.path());
  inProcess([&] {
    const std::string file = folder.file("space9.conf");
    struct stat status;
    EXPECT_EQ(nvram_set(9, "a", "1"), 0);
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u) << "private at first";

    chmod(file.c_str(), 0640);
    const timespec in_the_future[] = {{2'000'000'000, 0}, {2'000'000'000, 999'999'999}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), in_the_future, 0), 0);
    EXPECT_EQ(nvram_set(9, "a", "2"), 0);
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(status.st_mtim.tv_sec, 2'000'000'001);
    EXPECT_EQ(status.st_mtim.tv_nsec, 0);
  });
}

TEST(DamagedFile, IsReportedOnceAndItsGoodSettingsAreUsed) {
  StoreFolder folder;
  const std::string damaged = "good=1\nbro\x01ken\n[2]\nother=1\nmore=1\n[1]\nlast=cut";
  folder.write("space1.conf", damaged);
  const std::string file = folder.file("space1.conf");
  const std::string errors = errorsOf(folder, [&] {
    for (int i = 0; i < 3; ++i) EXPECT_STREQ(nvram_get(1, "good"), "1");
    EXPECT_STREQ(nvram_bufget(1, "last"), "cut");
    EXPECT_EQ(nvram_get(1, "other"), nullptr);
    // An edit elsewhere does not tell the old damages again.
    folder.write("space1.conf", damaged + "\nnew\n");
    EXPECT_STREQ(nvram_get(1, "good"), "1");
    folder.write("space1.conf", damaged);
    EXPECT_EQ(nvram_set(1, "more", "2"), 0);
    EXPECT_EQ(folder.read("space1.conf.damaged"), damaged);
    EXPECT_THAT(folder.read("space1.conf"), EndsWith("\ngood=1\nlast=cut\nmore=2\n"));
    // What was mended and is damaged again is told again.
    folder.write("space1.conf", "good=1\nagain\n");
    EXPECT_STREQ(nvram_get(1, "good"), "1");
  });
  EXPECT_EQ(errors, file + ":2: has no '='\n" +  //
                        file + ":4: begins 2 settings of another space; 'orba import' " +
                        "puts each into its own\n" +                                        //
                        file + ":7: has no line end; the file may have been cut short\n" +  //
                        file + ":8: has no '='\n" +                                         //
                        file + ":7: has no line end; the file may have been cut short\n" +  //
                        file + ":2: has no '='\n");
}

TEST(StoreFailure, OfReadingIsReportedOnceAndNeverWrittenOver) {
  StoreFolder folder;
  const std::string file = folder.file("space1.conf");
  mkdir(file.c_str(), 0700);
  const std::string errors = errorsOf(folder, [&] {
    EXPECT_EQ(nvram_bufset(1, "a", "1"), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(failureOf(nvram_get(1, "a")), EISDIR);
    EXPECT_EQ(failureOf(nvram_commit(1)), EISDIR);
    EXPECT_EQ(failureOf(nvram_set(1, "b", "1")), EISDIR);
    EXPECT_TRUE(std::filesystem::is_directory(file));
    // The buffered change outlives the failure.
    EXPECT_STREQ(nvram_bufget(1, "a"), "1");
    rmdir(file.c_str());
    EXPECT_EQ(nvram_commit(1), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    // An editor has it open, and what was known is answered.
    folder.write("space1.conf", "");
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    EXPECT_EQ(failureOf(nvram_get(1, "b")), ENOENT);
    EXPECT_EQ(failureOf(nvram_set(1, "b", "1")), ENODATA);
    EXPECT_EQ(folder.read("space1.conf"), "");
    folder.write("space1.conf", "\xef\xbb\xbfssid=edited\n");
    EXPECT_STREQ(nvram_get(1, "ssid"), "edited");
  });
  const std::string empty =
      ": cannot be read: empty (to begin anew, remove it or write a comment into it): "
      "No data available\n";
  EXPECT_EQ(errors, file + ": cannot be read: Is a directory\n" + file + empty);
}

TEST(Store, IsWhereItWasAtFirstAndWhereItsLinksLead) {
  StoreFolder folder;
  const std::filesystem::path path = folder.path(), other = path.parent_path() / "other";
  inProcess([&] {
    ASSERT_EQ(chdir(path.parent_path().c_str()), 0);
    setenv("ORBA_NVRAM_DIR", "store", 1);
    EXPECT_EQ(nvram_set(1, "a", "1"), 0);
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    EXPECT_EQ(nvram_set(1, "a", "2"), 0);
    EXPECT_EQ(failureOf(nvram_get(2, "a")), ENOENT);
  });
  // One link to a file that is there, one to a file that is not there yet, a
  // folder that is one, and one on the way to it.
  create_directory(other);
  create_symlink("../store/space1.conf", other / "space1.conf");
  create_symlink(path / "second.conf", other / "space2.conf");
  create_directory_symlink(other, path.parent_path() / "linked");
  create_directory_symlink(".", path.parent_path() / "up");
  setenv("ORBA_NVRAM_DIR", (path.parent_path() / "up//./linked/").c_str(), 1);
  inProcess([&] {
    EXPECT_STREQ(nvram_get(1, "a"), "2");
    EXPECT_EQ(nvram_set(1, "a", "3"), 0);
    EXPECT_EQ(nvram_set(2, "a", "4"), 0);
    EXPECT_STREQ(nvram_get(2, "a"), "4");
  });
  for (const char *name : {"space1.conf", "space2.conf"}) EXPECT_TRUE(is_symlink(other / name));
  EXPECT_THAT(folder.read("space1.conf"), EndsWith("\na=3\n"));
  EXPECT_THAT(folder.read("second.conf"), EndsWith("\na=4\n"));
  for (const auto &[name, why] : {std::pair("space1.conf", ENOTDIR), {"no/such", ENOENT}}) {
    setenv("ORBA_NVRAM_DIR", folder.file(name).c_str(), 1);
    inProcess([why = why] { EXPECT_EQ(failureOf(nvram_set(1, "a", "5")), why); });
  }
}

TEST(Store, KnowsTimesThatTakeMoreThan32Bits) {
  StoreFolder folder(kMemory);
  folder.write("space1.conf", "a=1\n");
  ASSERT_EQ(system(("touch -d @5000000000 " + folder.file("space1.conf")).c_str()), 0);
  inProcess([] {
    EXPECT_STREQ(nvram_get(1, "a"), "1");
    EXPECT_EQ(nvram_set(1, "a", "2"), 0);
    EXPECT_STREQ(nvram_get(1, "a"), "2");
  });
}

TEST(GetNthValueSafe, CopiesOnePiece) {
  const struct {
    int index;
    const char *value;
    char separator;
    int size, result;
    const char *out;
  } cases[] = {
      {0, "a;b;c", ';', 8, 0, "a"},    {1, "a;b;c", ';', 8, 0, "b"},
      {2, "a;b;c", ';', 8, 0, "c"},    {3, "a;b;c", ';', 8, -1, ""},
      {-1, "a;b;c", ';', 8, -1, ""},   {0, "a;b;c", ',', 8, 0, "a;b;c"},
      {0, ";b", ';', 8, 0, ""},        {1, "a;;c", ';', 8, 0, ""},
      {2, "a;b;", ';', 8, 0, ""},      {3, "a;b;", ';', 8, -1, ""},
      {0, "", ';', 8, -1, ""},         {0, nullptr, ';', 8, -1, ""},
      {1, "a;long", ';', 4, 0, "lon"}, {0, "abc;d", ';', 4, 0, "abc"},
      {0, "abc", ';', 1, 0, ""},       {0, "abc", '\0', 8, 0, "abc"},
      {1, "abc", '\0', 8, -1, ""},
  };
  for (const auto &c : cases) {
    // The exact size on the heap, so that one byte too many is seen.
    std::vector<char> out(static_cast<std::size_t>(c.size), '?');
    EXPECT_EQ(getNthValueSafe(c.index, c.value, c.separator, out.data(), c.size), c.result);
    EXPECT_STREQ(out.data(), c.out) << c.index << " of " << (c.value ? c.value : "null");
  }
  char untouched = '?';
  EXPECT_EQ(getNthValueSafe(0, "a", ';', &untouched, 0), -1);
  EXPECT_EQ(getNthValueSafe(0, "a", ';', &untouched, -1), -1);
  EXPECT_EQ(untouched, '?');
  EXPECT_EQ(getNthValueSafe(0, "a", ';', nullptr, 8), -1);
  char itself[] = "one;second";
  EXPECT_EQ(getNthValueSafe(1, itself, ';', itself, sizeof itself), 0);
  EXPECT_STREQ(itself, "second");
}

}  // namespace
