/* The settings of all spaces, each known by its number, as this process sees
 * them. What the functions do is told in nvram.h. Not for two threads at a time.
 * Everything throws std::system_error: EINVAL for an unknown space or a key that
 * no setting can have, EWOULDBLOCK while another process commits. */
#ifndef NVRAM_STORE_H
#define NVRAM_STORE_H

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "store_file.h"
#include "store_format.h"

namespace nvram {

/* The folder that ORBA_NVRAM_DIR names, or the usual one, as an absolute path. */
std::string storeFolder();

class Store {
 public:
  explicit Store(std::string folder);

  /* The texts stay readable as long as the store lives; nullptr without such a
   * setting. */
  const char *get(int number, std::string_view key);
  const char *getBuffered(int number, std::string_view key);

  void set(int number, std::string_view key, std::string_view value);
  void setBuffered(int number, std::string_view key, std::string_view value);
  void commit(int number);
  /* Durable at once, in place of all that the space holds. What is buffered stays buffered. */
  void replace(int number, Settings settings);

  const Settings &settings(int number);

 private:
  struct Space {
    std::string path;
    bool known = false;                // the file was looked at
    bool settled = false;              // `identity` tells of every change
    std::optional<Identity> identity;  // of the file that `text` is from
    std::string text;                  // empty: there was no file
    Settings settings;
    Settings changes;  // buffered
    std::vector<Damage> damages;
    int failure = 0;  // errno that was reported and still holds
  };

  Space &at(int number);
  int numberOf(const Space &space) const;
  void refresh(Space &space);
  void load(Space &space, std::optional<File> file);
  enum class Others { kStay, kGo };
  void merge(Space &space, Settings changes, Others others = Others::kStay);
  bool takeBack(const Space &space, const Place &place, const std::optional<File> &before);
  template <typename Read>
  auto readOrTell(Space &space, Read read);
  const char *keep(const std::string &text);

  std::string folder_;
  std::array<Space, kLastSpace - kFirstSpace + 1> spaces_;
  std::unordered_set<std::string> kept_;
};

}  // namespace nvram

#endif
