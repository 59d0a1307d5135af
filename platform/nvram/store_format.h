/* The text format of a settings file.
 *
 *   # a comment; blank lines are ignored too
 *   KEY=VALUE
 *   [2]
 *   KEY=VALUE
 *
 * A value is everything from the first '=' to the line's end, blanks included.
 * What a line cannot hold is written with a backslash: \\ \n \r \t, and \xHH
 * for any other byte by its two hexadecimal digits. A blank where an editor
 * might lose it (at either end of a key, at the end of a value) is written
 * \x20. Bytes above 0x7f stand as they are.
 *
 * A line "[N]" says that the lines below belong to space N. A store file holds
 * one space and has none; a configuration of both spaces has "[1]" and "[2]".
 */
#ifndef NVRAM_STORE_FORMAT_H
#define NVRAM_STORE_FORMAT_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace nvram {

inline constexpr int kFirstSpace = 1;
inline constexpr int kLastSpace = 9;

/* Those of one space, by key. */
using Settings = std::map<std::string, std::string, std::less<>>;

/* As a line of a text sets it. */
struct Setting {
  int space;
  std::string key;
  std::string value;
  int line;  // from 1
};

struct Damage {
  int line;  // from 1
  std::string what;

  bool operator==(const Damage &) const = default;
};

bool validKey(std::string_view key);

/* The settings of `text` in their order. Lines before any section line belong
 * to `space`. A line that is none of the above is left out and added to
 * `damages`. A key that stands twice in a space is a damage too, and only its
 * later line counts. */
std::vector<Setting> parseSettings(std::string_view text, std::vector<Damage> *damages,
                                   int space = kFirstSpace);

/* One "KEY=VALUE" line with its newline. */
std::string printSetting(std::string_view key, std::string_view value);

/* A whole store file: a comment that names the format, then the settings. */
std::string printSettings(const Settings &settings);

}  // namespace nvram

#endif
