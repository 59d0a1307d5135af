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
// is all in memory: the file it came from is never written to.
class Draft {
 public:
  using Name = std::pair<int, std::string>;  // space and key
  using Value = std::optional<std::string>;  // nothing: there is no such setting
  using Changes = std::map<Name, Value>;

  // The text of a configuration file that was read without a fault.
  explicit Draft(std::string text);

  // Goes up with whatever changes, so that a page sees what another one did.
  long long version() const { return version_; }
  const Changes &changes() const { return changes_; }
  Value kept(const Name &name) const;
  const std::vector<nvram::Setting> &kept() const { return kept_; }
  // With the changes made.
  std::vector<nvram::Setting> changed() const;
  // The same as the text of a file: comments and order stay as they were.
  std::string text() const;

  // A change back to what is kept is none. Throws BadChange.
  void change(const Name &name, const Value &value);
  void keep();
  void discard();

 private:
  std::string text_;
  std::vector<nvram::Setting> kept_;
  Changes changes_;
  long long version_ = 1;
};

}  // namespace orba::tool

#endif
