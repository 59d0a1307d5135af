// One of the two that are compared: this program, or another version of it, and what becomes of
// a configuration before it has it.
#ifndef ORBA_TOOLS_REHEARSE_VERSION_H
#define ORBA_TOOLS_REHEARSE_VERSION_H

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/rehearse/calls.h"

namespace orba::tool {

// A change of settings: --set, --default, --unset, --replace-record.
struct SettingEdit {
  enum Kind { kSet, kDefault, kUnset, kReplaceRecord };
  Kind kind;
  int space = 1;
  std::string key;
  std::string value = {};   // of kSet and kDefault; of kReplaceRecord what comes
  std::string record = {};  // of kReplaceRecord: what goes, as a whole record

  std::string text() const;  // as it stands on the command line
};
// Reads "KEY=VALUE", "2:KEY=VALUE", "KEY" or "KEY:OLD=NEW". Throws BadArgument.
SettingEdit settingEdit(SettingEdit::Kind kind, const std::string &text);
std::vector<nvram::Setting> edited(std::vector<nvram::Setting> settings,
                                   const std::vector<SettingEdit> &edits);

// What one version makes of a configuration.
class Version {
 public:
  virtual ~Version() = default;
  // By entry point. What cannot be called has none; "died: Aborted" stands for one that died.
  using Digests = std::map<std::string, std::string>;
  // Throws Died when it ends in the middle, twice.
  virtual Digests digests(const std::vector<nvram::Setting> &settings) = 0;
  // Throws Died.
  virtual Recording record(const std::vector<nvram::Setting> &settings,
                           const std::string &entry) = 0;
  // Whether the digests are of the very bytes; else what is no UTF-8 is alike in them.
  virtual bool isExact() const { return false; }
};

struct Died : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline constexpr char kDied[] = "died: ";
inline constexpr char kThisProgram[] = "/proc/self/exe";

// A configuration as a text in ASCII.
std::string asciiConfig(const std::vector<nvram::Setting> &settings);

// Another version, started when it is first asked: as `plan --batch`, or where it does not know
// that, as `plan --json` for each call. `entries`: those that it is asked for; without any, those
// that it calls by itself in a batch. One that answers with what is no answer has died, too.
std::unique_ptr<Version> programVersion(const std::string &program,
                                        const std::vector<std::string> &entries);
// "orba 0.1.0", by its --version; throws BadArgument when it is none, or does not answer.
std::string versionOf(const std::string &program);

}  // namespace orba::tool

#endif
