#include "sim/device.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sim/line_splitter.h"

namespace sim {

namespace {

Device *current_device = nullptr;

constexpr std::string_view kDiscarded = " 1>/dev/null 2>&1";
constexpr std::string_view kBackground = " &";

bool contains(const std::string &text, std::string_view part) {
  return memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
}

// By character: whether a shell makes something of it, other than a word of a command.
constexpr auto kSpecial = [] {
  std::array<bool, 256> special{};
  for (unsigned char c : {';', '&', '>', '\n', '\\', '\'', '"'}) special[c] = true;
  return special;
}();

// Of a line that is one command whose output nobody reads, as most are.
std::optional<std::string_view> onlyCommandIn(std::string_view line) {
  while (line.ends_with(kDiscarded)) line.remove_suffix(kDiscarded.size());
  while (line.ends_with(' ')) line.remove_suffix(1);
  if (line.empty() || line.front() == ' ') return {};
  for (unsigned char c : line) {
    if (kSpecial[c]) return {};
  }
  return line;
}

// Whether its first word, which may be quoted, may have one of these first letters.
bool mayBegin(const std::string &command, std::string_view letters) {
  const char first = command[0];
  return first == ' ' || kSpecial[static_cast<unsigned char>(first)] ||
         letters.find(first) != std::string_view::npos;
}

}  // namespace

std::string withoutRunnerRedirection(const std::string &line) {
  std::string_view rest = line;
  const bool background = rest.ends_with(kBackground);
  if (background) rest.remove_suffix(kBackground.size());
  if (!rest.ends_with(kDiscarded)) return line;
  rest.remove_suffix(kDiscarded.size());
  return std::string(rest) + std::string(background ? kBackground : "");
}

Device::Device() : previous_(current_device) {
  current_device = this;
}

Device::~Device() {
  rest();
}

void Device::rest() {
  if (current_device == this) current_device = previous_;
}

Device *Device::current() {
  return current_device;
}

Device &Device::settings(const Settings &values, int space) {
  for (const auto &[key, value] : values) setting(space, key, value);
  return *this;
}

Device &Device::setting(int space, const std::string &key, const std::string &value) {
  if (on_setting != nullptr) on_setting(space, key);
  put(committed_, space, key, value);
  return *this;
}

Device &Device::buffered(const Settings &values, int space) {
  for (const auto &[key, value] : values) {
    if (on_setting != nullptr) on_setting(space, key);
    put(buffered_, space, key, value);
  }
  return *this;
}

Device &Device::remove(const std::string &key, int space) {
  committed_.erase({space, key});
  buffered_.erase({space, key});
  return *this;
}

Device &Device::file(const std::string &path, const std::string &content) {
  root_.write(path, content);
  return *this;
}

Device &Device::removeFile(const std::string &path) {
  root_.remove(path);
  return *this;
}

Device &Device::refuse(const std::string &path) {
  root_.refuse(path);
  return *this;
}

Device &Device::answer(const std::string &part, const std::string &output) {
  answers_.insert(answers_.begin(), {part, output});
  return *this;
}

Device &Device::unstartable(const std::string &part) {
  answers_.insert(answers_.begin(), {part, std::nullopt});
  return *this;
}

Device &Device::withoutConsole() {
  console_ = false;
  return *this;
}

Device &Device::withoutSockets() {
  sockets_ = false;
  return *this;
}

Device &Device::memoryRunsOut(bool out) {
  memory_out_ = out;
  return *this;
}

Device &Device::lowerRoot(const std::string &folder) {
  root_.lower(folder);
  return *this;
}

void Device::advance(long long milliseconds) {
  clock_.advance(milliseconds);
}

Device &Device::onExit(std::function<void(int)> handler) {
  on_exit_ = std::move(handler);
  return *this;
}

std::vector<std::string> Device::commands() const {
  std::vector<std::string> lines;
  for (const Event &event : events_) {
    if (event.kind == Event::kCommand) lines.push_back(withoutRunnerRedirection(event.text));
  }
  return lines;
}

std::vector<std::string> Device::writes() const {
  std::vector<std::string> lines;
  for (const Event &event : events_) {
    if (event.kind == Event::kSet) lines.push_back("set " + event.text);
    if (event.kind == Event::kBufset) lines.push_back("bufset " + event.text);
    if (event.kind == Event::kCommit) lines.push_back("commit " + event.text);
  }
  return lines;
}

std::optional<std::string> Device::setting(const std::string &key, int space) const {
  auto found = committed_.find({space, key});
  if (found == committed_.end()) return {};
  return found->second.get();
}

void Device::put(Values &values, int space, const std::string &key, const std::string &value) {
  auto copy = std::make_unique<char[]>(value.size() + 1);
  memcpy(copy.get(), value.c_str(), value.size() + 1);
  values[{space, key}].swap(copy);
  drop(std::move(copy));
}

void Device::drop(Value value) {
  if (clock_.inHandler()) replaced_by_handler_.push_back(std::move(value));
}

std::vector<std::string> Device::texts(Event::Kind kind) const {
  std::vector<std::string> found;
  for (const Event &event : events_) {
    if (event.kind == kind) found.push_back(event.text);
  }
  return found;
}

std::string Device::joined(Event::Kind kind) const {
  std::string all;
  for (const std::string &text : texts(kind)) all += text;
  return all;
}

void Device::forget() {
  events_.clear();
  missing_.clear();
  asked_.clear();
  for (auto &[name, events_before] : first_asked_) events_before = 0;
}

void Device::record(Event::Kind kind, std::string text) {
  events_.push_back({kind, std::move(text), clock_.elapsed(), clock_.inHandler()});
}

int Device::runLine(std::string line) {
  if (const std::optional<std::string_view> only = onlyCommandIn(line)) {
    const std::string command(*only);
    record(Event::kCommand, std::move(line));
    outputOf(command);
    leaveTraces(command);
    return 0;
  }
  const std::vector<ShellCommand> commands = splitLine(line);
  record(Event::kCommand, std::move(line));
  for (const ShellCommand &command : commands) {
    // A shell opens every file that is redirected to; the last one gets the text.
    std::string output = outputOf(command.text).value_or("");
    for (size_t i = 0; i < command.redirections.size(); i++) {
      const ShellCommand::Redirection &to = command.redirections[i];
      if (to.path == "/dev/null") continue;
      bool last = i + 1 == command.redirections.size();
      root_.write(to.path, last ? output : "", to.append);
    }
    leaveTraces(command.text);
  }
  return 0;
}

// What the programs that only touch files do to them.
void Device::leaveTraces(const std::string &command) {
  if (!mayBegin(command, "rt")) return;
  std::optional<std::vector<std::string>> words = wordsOf(command);
  if (!words || words->empty()) return;
  const std::string &program = words->front();
  for (size_t i = 1; i < words->size(); i++) {
    const std::string &path = (*words)[i];
    if (path[0] == '-') continue;
    if (program == "rm" && root_.remove(path)) record(Event::kRemoved, path);
    if (program == "touch") root_.write(path, "", true);
  }
}

std::optional<std::string> Device::outputOf(const std::string &command) {
  for (const auto &[part, output] : answers_) {
    if (contains(command, part)) return output;
  }
  for (auto &[type, part] : parts_) {
    if (std::optional<std::string> output = part->outputOf(command)) {
      part_answered_ = true;
      return output;
    }
  }
  if (!mayBegin(command, "e") || !contains(command, "echo")) return "";
  std::optional<std::vector<std::string>> words = wordsOf(command);
  if (words && !words->empty() && words->front() == "echo") {
    std::string line;
    for (size_t i = 1; i < words->size(); i++) line += (i > 1 ? " " : "") + (*words)[i];
    return line + "\n";
  }
  return "";
}

std::optional<int> Device::openDevice(const std::string &path) {
  for (auto &[type, part] : parts_) {
    if (std::optional<bool> opens = part->opens(path)) {
      part_answered_ = true;
      return *opens ? 0 : -1;
    }
  }
  return {};
}

int Device::request(int fd, unsigned long number, void *argument) {
  if (fd < 0) {
    errno = EBADF;
    return -1;
  }
  if (std::optional<int> result = interfaces_.request(number, argument)) return *result;
  for (auto &[type, part] : parts_) {
    if (std::optional<int> result = part->request(number, argument)) {
      part_answered_ = true;
      return *result;
    }
  }
  errno = ENOTTY;
  return -1;
}

// Parts that a call has reached may be others than before; the rest a call cannot change, or it is
// put back.
void Device::keep() {
  kept_ = Kept{clock_, parts_.size(), first_asked_};
  root_.keep();
  part_answered_ = false;
}

bool Device::startOver() {
  const bool as_kept = !part_answered_ && parts_.size() == kept_->parts && held_.nothing() &&
                       open_pipes_ == 0 && root_.startOver();
  if (!as_kept) return false;
  forget();
  faults_.forgetCalls();
  clock_ = kept_->clock;
  first_asked_ = kept_->first_asked;
  committed_.clear();
  buffered_.clear();
  replaced_by_handler_.clear();
  on_exit_ = nullptr;
  previous_ = current_device;
  current_device = this;
  return true;
}

// Whether it is the first time.
bool Device::ask(const std::pair<int, std::string> &name) {
  if (!asked_.insert(name).second) return false;
  first_asked_.emplace(name, events_.size());
  return true;
}

char *Device::get(int space, const char *key) {
  std::pair<int, std::string> name(space, key);
  bool first = ask(name);
  if (every_setting_ && committed_.count(name) == 0) settings({{key, *every_setting_}}, space);
  auto found = committed_.find(name);
  if (found != committed_.end()) return found->second.get();
  if (first) missing_.push_back(name);
  return nullptr;
}

char *Device::bufget(int space, const char *key) {
  auto found = buffered_.find({space, key});
  if (found == buffered_.end()) return get(space, key);
  ask({space, key});
  return found->second.get();
}

int Device::set(int space, const char *key, const char *value) {
  if (key == nullptr || value == nullptr) return -1;
  std::string copy = value;
  record(Event::kSet, std::to_string(space) + " " + key + "=" + copy);
  put(committed_, space, key, copy);
  auto change = buffered_.extract({space, key});
  if (change) drop(std::move(change.mapped()));
  return 0;
}

int Device::bufset(int space, const char *key, const char *value) {
  if (key == nullptr || value == nullptr) return -1;
  std::string copy = value;
  record(Event::kBufset, std::to_string(space) + " " + key + "=" + copy);
  put(buffered_, space, key, copy);
  return 0;
}

int Device::commit(int space) {
  record(Event::kCommit, std::to_string(space));
  for (auto change = buffered_.lower_bound({space, ""});
       change != buffered_.end() && change->first.first == space;
       change = buffered_.erase(change)) {
    committed_[change->first].swap(change->second);
    drop(std::move(change->second));
  }
  return 0;
}

void Device::exit(int status) {
  if (on_exit_) on_exit_(status);
  ::exit(status);
}

}  // namespace sim
