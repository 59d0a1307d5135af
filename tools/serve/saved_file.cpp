#include "tools/serve/saved_file.h"

#include <filesystem>

#include "tools/device/config.h"
#include "tools/serve/draft.h"
#include "tools/serve/serve.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"

namespace orba::tool {

namespace {

namespace files = std::filesystem;

// Readable without a fault, or it throws.
std::string readText(const std::string &path) {
  std::string text = configText(path);
  configIn(text, path);
  return text;
}

}  // namespace

SavedFile::SavedFile(const std::string &config, const std::string &target)
    : config_(config), target_(target), read_(readText(config)), now_(read_) {
  std::error_code ignored;
  if (target.empty() || !files::exists(files::symlink_status(target, ignored))) return;
  if (!files::equivalent(target, config, ignored) || !files::is_regular_file(target, ignored)) {
    throw CannotServe("--save would write over " + visible(target) +
                      ", which is not the file of -c");
  }
}

const std::string &SavedFile::text() {
  try {
    std::string text = configText(name());
    if (text == now_) return now_;
    configIn(text, name());
    now_ = std::move(text);
  } catch (const BadConfig &) {
  }
  return now_;
}

void SavedFile::write(const std::string &text) {
  std::error_code ignored;
  const bool is_there = files::exists(files::symlink_status(target_, ignored));
  if (is_there && (name() != target_ && !files::equivalent(target_, config_, ignored))) {
    throw BadChange(visible(target_) + " is there by now, and was not when orba serve began");
  }
  if (is_there && configText(target_) != read_) {
    throw BadChange(visible(target_) + " is no longer what was read: somebody else has written it");
  }
  writeWhole(target_, text);
  written_ = true;
  read_ = now_ = text;
}

}  // namespace orba::tool
