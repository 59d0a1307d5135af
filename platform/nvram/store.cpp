#include "store.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

#include "terminal.h"

namespace nvram {
namespace {

constexpr const char *kUsualFolder = "/var/lib/orba";

void requireValid(std::string_view key) {
  if (!validKey(key)) refuse(EINVAL, "no such key");
}

// Those in `now` that are not in `before`: a file that was changed elsewhere
// still has its old damages, and they were told.
void report(const std::string &path, const std::vector<Damage> &now,
            const std::vector<Damage> &before) {
  for (const Damage &damage : now) {
    if (std::find(before.begin(), before.end(), damage) != before.end()) continue;
    fprintf(stderr, "%s:%d: %s\n", visible(path).c_str(), damage.line, damage.what.c_str());
  }
}

int lastLineOf(std::string_view text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
}

// One damage for all that belongs elsewhere: it is a whole configuration in place of a space.
Settings parseSpace(std::string_view text, int number, std::vector<Damage> *damages) {
  Settings settings;
  int elsewhere = 0, first_line = 0;
  for (Setting &setting : parseSettings(text, damages, number)) {
    if (setting.space == number) {
      settings.insert_or_assign(std::move(setting.key), std::move(setting.value));
    } else if (elsewhere++ == 0) {
      first_line = setting.line;
    }
  }
  if (elsewhere > 0) {
    const std::string what =
        elsewhere == 1 ? "belongs to another space"
                       : "begins " + std::to_string(elsewhere) + " settings of another space";
    damages->push_back({first_line, what + "; 'orba import' puts each into its own"});
  }
  if (!text.empty() && text.back() != '\n') {
    damages->push_back({lastLineOf(text), "has no line end; the file may have been cut short"});
  }
  return settings;
}

}  // namespace

std::string storeFolder() {
  const char *named = secure_getenv("ORBA_NVRAM_DIR");
  std::string folder = named != nullptr && *named != '\0' ? named : kUsualFolder;
  if (folder.front() != '/') {
    const std::unique_ptr<char, decltype(&free)> here(getcwd(nullptr, 0), free);
    if (here == nullptr) refuse(errno, "no current folder");
    folder = std::string(here.get()) + '/' + folder;
  }
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return folder;
}

Store::Store(std::string folder) : folder_(std::move(folder)) {
  for (Space &space : spaces_) {
    space.path = folder_ + "/space" + std::to_string(numberOf(space)) + ".conf";
  }
}

Store::Space &Store::at(int number) {
  if (number < kFirstSpace || number > kLastSpace) refuse(EINVAL, "no such space");
  return spaces_[static_cast<std::size_t>(number - kFirstSpace)];
}

int Store::numberOf(const Space &space) const {
  return static_cast<int>(&space - spaces_.data()) + kFirstSpace;
}

const char *Store::keep(const std::string &text) {
  return kept_.insert(text).first->c_str();
}

const char *Store::get(int number, std::string_view key) {
  const Settings &all = settings(number);
  const auto found = all.find(key);
  return found == all.end() ? nullptr : keep(found->second);
}

const char *Store::getBuffered(int number, std::string_view key) {
  const Settings &changes = at(number).changes;
  const auto found = changes.find(key);
  return found == changes.end() ? get(number, key) : keep(found->second);
}

void Store::set(int number, std::string_view key, std::string_view value) {
  Space &space = at(number);
  requireValid(key);
  merge(space, {{std::string(key), std::string(value)}});
  std::erase_if(space.changes, [key](const auto &change) { return change.first == key; });
}

void Store::setBuffered(int number, std::string_view key, std::string_view value) {
  Space &space = at(number);
  requireValid(key);
  space.changes.insert_or_assign(std::string(key), std::string(value));
}

void Store::commit(int number) {
  Space &space = at(number);
  if (space.changes.empty()) return;
  merge(space, space.changes);
  space.changes.clear();
}

void Store::replace(int number, Settings settings) {
  for (const auto &[key, value] : settings) requireValid(key);
  merge(at(number), std::move(settings), Others::kGo);
}

const Settings &Store::settings(int number) {
  Space &space = at(number);
  refresh(space);
  return space.settings;
}

// What `read` returns. Why it cannot is told once.
template <typename Read>
auto Store::readOrTell(Space &space, Read read) try {
  return read();
} catch (const std::system_error &error) {
  if (error.code().value() != space.failure) {
    space.failure = error.code().value();
    fprintf(stderr, "%s: cannot be read: %s\n", visible(space.path).c_str(), error.what());
  }
  throw;
}

// What was known is answered for as long as the file cannot be read.
void Store::refresh(Space &space) try {
  readOrTell(space, [&] {
    if (space.known && space.settled && identify(space.path) == space.identity) return;
    load(space, readFile(space.path));
  });
  space.failure = 0;
} catch (const std::exception &) {
  if (!space.known) throw;
}

void Store::load(Space &space, std::optional<File> file) {
  // A commit always writes a line, so this is an editor's that is at work.
  if (file && file->text.empty()) {
    refuse(ENODATA, "empty (to begin anew, remove it or write a comment into it)");
  }
  std::string text = file ? std::move(file->text) : std::string();
  if (!space.known || text != space.text) {
    std::vector<Damage> damages;
    Settings settings = parseSpace(text, numberOf(space), &damages);
    report(space.path, damages, space.damages);
    space.text = std::move(text);
    space.settings = std::move(settings);
    space.damages = std::move(damages);
  }
  space.known = true;
  space.settled = !file || file->settled;
  space.identity = file ? std::optional(file->identity) : std::nullopt;
}

// Writes the file's settings of this moment with `changes` over them, or these alone.
void Store::merge(Space &space, Settings changes, Others others) {
  makeFolder(folder_);
  const Place place = readOrTell(space, [&] { return Place(space.path); });
  const FileLock lock(place);
  std::optional<File> before;
  readOrTell(space, [&] { load(space, before = place.read()); });
  // The folder of a first file may be new too, and its maker may have died.
  if (space.text.empty()) place.syncNames(lock.file(), "..");
  if (!space.damages.empty()) {
    place.put(place.name() + ".damaged", space.text, before);
    place.syncNames(lock.file());
  }
  if (others == Others::kStay) changes.merge(Settings(space.settings));
  std::string text = printSettings(changes);
  place.put(place.name(), text, before);
  space.settled = false;
  try {
    place.syncNames(lock.file());
  } catch (const std::system_error &error) {
    if (takeBack(space, place, before)) throw;
    fprintf(stderr, "%s: changed, but a power cut may undo it: %s\n", visible(space.path).c_str(),
            error.what());
  }
  space.text = std::move(text);
  space.settings = std::move(changes);
  space.damages.clear();
}

// Gives the file the contents of before, so that a commit that fails changes
// nothing. False when the disk does not take even that.
bool Store::takeBack(const Space &space, const Place &place,
                     const std::optional<File> &before) try {
  if (space.text.empty()) return place.remove(place.name());
  place.put(place.name(), space.text, before);
  return true;
} catch (const std::system_error &) {
  return false;
}

}  // namespace nvram
