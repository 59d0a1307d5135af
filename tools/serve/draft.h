// The configuration that the page works on.
#ifndef ORBA_TOOLS_SERVE_DRAFT_H
#define ORBA_TOOLS_SERVE_DRAFT_H

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/nvram/store_format.h"

namespace orba::tool {

// Why a change cannot be made, for the person who asked for it.
struct BadChange : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A configuration as it is kept, and the changes that were collected since. It
// is all in memory; what its file holds is told to it.
class Draft {
 public:
  using Name = std::pair<int, std::string>;  // space and key
  using Value = std::optional<std::string>;  // nothing: there is no such setting
  using Changes = std::map<Name, Value>;

  // The longest value that a change may give a setting, in bytes.
  static constexpr size_t kLongestValue = size_t{512} * 1024;

  // The text of a configuration file that was read without a fault.
  explicit Draft(std::string text);

  // Goes up with whatever changes, so that a page sees what another one did.
  long long version() const { return version_; }
  const Changes &changes() const { return changes_; }
  Value kept(const Name &name) const;
  const std::vector<nvram::Setting> &kept() const { return kept_; }
  const std::string &keptText() const { return text_; }
  // In the file.
  const std::vector<nvram::Setting> &saved() const { return saved_; }
  // The names of the settings whose values differ between what is kept and the file.
  std::vector<Name> unsaved() const;
  // With the changes made.
  std::vector<nvram::Setting> changed() const;
  // The same as the text of a file: comments and order stay as they were.
  std::string text() const;

  // A change back to what is kept is none. Throws BadChange.
  void change(const Name &name, const Value &value);
  // Throws BadChange where a setting is not, with the changes made, what somebody takes it for.
  void mustBe(const Name &name, const Value &value) const;
  void keep();
  void discard();
  // What the file holds now, which was read without a fault too.
  void onFile(const std::string &text);

 private:
  std::string text_, saved_text_;
  std::vector<nvram::Setting> kept_, saved_;
  Changes changes_;
  long long version_ = 1;
};

// The settings by their names; of two with one name the later.
std::map<Draft::Name, std::string> byName(const std::vector<nvram::Setting> &settings);

}  // namespace orba::tool

#endif
