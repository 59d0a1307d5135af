// A list of which each record holds something that no other does, so that what the
// library makes of a record can be told from what it makes of one that is the same.
#ifndef ORBA_TOOLS_PLAY_MARKED_LIST_H
#define ORBA_TOOLS_PLAY_MARKED_LIST_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/nvram/store_format.h"
#include "tools/catalog/setting_form.h"

namespace orba::tool {

// Null for an unknown setting.
const Form *formOf(const nvram::Setting &setting);
// Whether it holds a list of records with ";" between them, by its form or by its value.
bool isList(const nvram::Setting &setting);

// The letters, digits and characters of `joining` that stand at `at`, or the one other character.
std::string_view stretchAt(std::string_view text, size_t at, const char *joining);

class MarkedList {
 public:
  // `form` is the list's, null for an unknown one. Each record gets an address, a MAC address,
  // a port or a name of its own in place of one that it holds; one that holds none stays.
  MarkedList(const std::vector<std::string> &records, const Form *form);

  const std::string &text() const { return text_; }
  // The records, from 1, whose marks a command carries that is `marked` with this list and
  // `command` with the list as it was; none when the two differ in anything else.
  std::vector<size_t> carriedBy(std::string_view marked, std::string_view command) const;

 private:
  struct Marked {
    std::string value;  // that was there before
    size_t record;
  };

  bool differInMarks(std::string_view marked, std::string_view command, const char *joining,
                     std::vector<size_t> &records) const;

  std::string text_;
  std::map<std::string, Marked, std::less<>> marks_;
};

}  // namespace orba::tool

#endif
