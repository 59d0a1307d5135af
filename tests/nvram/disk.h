/* The disk under a store in this process: it sees the calls by which the store
 * reads and writes, knows what may be left of its files when the power goes,
 * and can make a call fail. */
#ifndef TESTS_NVRAM_DISK_H
#define TESTS_NVRAM_DISK_H

#include <sys/stat.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Disk {
 public:
  using Files = std::map<std::string, std::string>;  // contents, by name

  /* Takes `folder` and its files as durable, if they are there, and watches
   * what becomes of them from here on. */
  explicit Disk(std::string folder);
  ~Disk();
  Disk(const Disk &) = delete;
  Disk &operator=(const Disk &) = delete;

  /* All that a power cut during the calls so far may leave, mapped to whether
   * one after acknowledge() may. Data is durable once its file was synced; of
   * what was written since, a first part of any length may be there, with
   * nothing or with zeros behind it. A name is durable once its folder was
   * synced; of the makings, movings and removals since, any may be lost. */
  const std::map<Files, bool> &leftBehind() const { return left_behind_; }
  void acknowledge();

  /* The files that the calls add up to. */
  Files files() const { return filesOf(namesNow()); }

  /* A power cut now would lose nothing. */
  bool durable() const;

  /* From here on the power stays on, and the `call`-th call (from 0) fails with
   * `error`, with `for_good` all behind it as well. With 0 it succeeds, but a
   * read or a write does half of its work. */
  void fail(int call, int error, bool for_good = false);
  int calls() const { return calls_; }

  /* From here on times are kept in whole `tick` seconds, and every file gets
   * the inode of the one before. The clock is `ahead` of the real one. */
  void tick(int seconds) { tick_ = seconds; }
  void ahead(int seconds) { ahead_ = seconds; }

  /* From here on nobody may set a file's times. */
  void refuseTimes() { keeps_times_ = false; }
  bool keepsTimes() const { return keeps_times_; }

  /* What another process does just before a lock is taken. */
  std::function<void()> before_lock;

  /* For the calls, before and after they do something. */
  bool fails(bool can_be_halved);
  void made(const std::string &path);
  void wrote(int descriptor, std::string_view bytes);
  void looked(struct stat &status) const;
  void told(timespec &now) const { now.tv_sec += ahead_; }
  void synced(int descriptor);
  void syncedAll();
  void renamed(const std::string &from, const std::string &to);
  void removed(const std::string &path);

 private:
  struct File {
    std::string data;
    std::size_t durable;
  };
  using Names = std::map<std::string, std::size_t>;                  // places in all_, by path
  using Change = std::map<std::string, std::optional<std::size_t>>;  // nothing: gone

  static void apply(const Change &change, Names &names);
  void change(const Change &change);
  void cutThePower();
  Names namesNow() const;
  Files filesOf(const Names &names) const;

  const std::string folder_;
  std::vector<File> all_;        // and the folder, as an empty one
  Names names_;                  // the durable ones
  std::vector<Change> changes_;  // those that are not, in order
  std::map<Files, bool> left_behind_;
  bool acknowledged_ = false, stays_on_ = false, for_good_ = false;
  int calls_ = 0, failing_ = -1, error_ = 0, tick_ = 0, ahead_ = 0;
  bool keeps_times_ = true;
};

#endif
