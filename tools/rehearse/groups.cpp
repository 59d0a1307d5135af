#include "tools/rehearse/groups.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "tools/text/json.h"
#include "tools/text/output.h"

namespace orba::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kStateFile[] = "state.json", kLists[] = "lists";
constexpr int kForm = 2;  // of the state

void append(const std::string &path, uint64_t size, const std::string &text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) throw CannotWrite(path, errno);
  // What was written behind the last state is written again.
  bool done = ftruncate(file, static_cast<off_t>(size)) == 0 &&
              lseek(file, 0, SEEK_END) == static_cast<off_t>(size);
  for (size_t sent = 0; done && sent < text.size();) {
    const ssize_t now = write(file, text.data() + sent, text.size() - sent);
    if (now > 0) sent += static_cast<size_t>(now);
    done = now >= 0 || errno == EINTR;
  }
  const int error = errno;
  close(file);
  if (!done) throw CannotWrite(path, error);
}

}  // namespace

void Group::add(const Group &other) {
  change.kinds = other.change.kinds;
  change.traffic = other.change.traffic;
  change.opens |= other.change.opens;
  change.entries.insert(other.change.entries.begin(), other.change.entries.end());
  if (example.id.empty() || other.example < example) example = other.example;
  count += other.count;
}

std::string nameOf(const SideChange &change) {
  Recording named;
  named.result.returned = change.traffic ? "traffic" : "commands";
  named.result.outputs.assign(change.kinds.begin(), change.kinds.end());
  return digestOf(named);
}

nlohmann::json asJson(const Group &group) {
  return {
      {"traffic", group.change.traffic},
      {"opens", group.change.opens},
      {"kinds", group.change.kinds},
      {"entries", group.change.entries},
      {"example",
       {{"size", group.example.size}, {"id", group.example.id}, {"config", group.example.config}}},
      {"count", group.count}};
}

Group groupIn(const nlohmann::json &json) {
  const nlohmann::json &example = json.at("example");
  return {{json.at("traffic"), json.at("opens"), json.at("kinds"), json.at("entries")},
          {example.at("size"), example.at("id"), example.at("config")},
          json.at("count")};
}

Store::Store(std::string folder) : folder_(std::move(folder)) {
  if (folder_.empty()) throw BadArgument("--out: a folder is wanted");
  std::error_code error;
  fs::create_directories(folder_ + "/" + kLists, error);
  if (error) throw CannotWrite(folder_, error.value());
  // Of the process that has begun: neither its workers nor one that was killed hold it.
  lock_ = open(path(std::string(kLists) + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  if (fcntl(lock_, F_SETLK, &whole) != 0 && (errno == EAGAIN || errno == EACCES)) {
    close(lock_);
    throw BadArgument(folder_ + ": another process rehearses there");
  }
  found_ = fs::exists(path(kStateFile), error);
  if (found_) read();
}

Store::~Store() {
  if (lock_ >= 0) close(lock_);
}

void Store::read() try {
  std::ifstream file(path(kStateFile));
  const nlohmann::json json = nlohmann::json::parse(file);
  if (json.at("form") != kForm) throw BadArgument(folder_ + ": holds a rehearsal of another form");
  state_.what = json.at("what");
  state_.taken = json.at("taken");
  state_.order = json.at("order");
  state_.shard = json.at("shard");
  state_.shards = json.at("shards");
  state_.configurations = json.at("configurations");
  state_.changed = json.at("changed");
  state_.refused = json.at("refused");
  state_.damaged = json.at("damaged");
  state_.done = json.at("done");
  for (const auto &[name, group] : json.at("groups").items()) state_.groups[name] = groupIn(group);
  sizes_ = json.at("sizes").get<std::map<std::string, uint64_t>>();
} catch (const nlohmann::json::exception &error) {
  throw BadArgument(path(kStateFile) + ": " + error.what());
}

void Store::write() {
  for (const auto &[name, text] : lines_) {
    append(path(std::string(kLists) + "/" + name), sizes_[name], text);
    sizes_[name] += text.size();
  }
  lines_.clear();
  nlohmann::ordered_json json = {{"form", kForm},
                                 {"what", state_.what},
                                 {"taken", state_.taken},
                                 {"order", state_.order},
                                 {"shard", state_.shard},
                                 {"shards", state_.shards},
                                 {"configurations", state_.configurations},
                                 {"changed", state_.changed},
                                 {"refused", state_.refused},
                                 {"damaged", state_.damaged},
                                 {"done", state_.done},
                                 {"groups", nlohmann::json::object()},
                                 {"sizes", sizes_}};
  for (const auto &[name, group] : state_.groups) json["groups"][name] = asJson(group);
  writeWhole(path(kStateFile), dumped(json) + "\n");
  found_ = true;
}

// By the program that sorts more than there is memory for.
void Store::writeSorted(const std::string &list, const std::string &file) const {
  const std::string from = path(std::string(kLists) + "/" + list), to = path(file);
  const auto size = sizes_.find(list);
  if (size != sizes_.end()) append(from, size->second, "");
  std::vector<std::string> words = {"sort", "-T", folder_, "-o", to, "--", from};
  std::vector<char *> arguments;
  for (std::string &word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::string locale = "LC_ALL=C", where = "PATH=/usr/bin:/bin";
  char *environment[] = {locale.data(), where.data(), nullptr};
  pid_t child;
  int status = 0;
  const int error = posix_spawnp(&child, "sort", nullptr, nullptr, arguments.data(), environment);
  if (error != 0) throw CannotWrite(to, error);
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  if (status != 0) throw CannotWrite(to, EIO);
}

void Store::merge(const Store &other) {
  const State &more = other.state_;
  state_.configurations += more.configurations;
  state_.changed += more.changed;
  state_.refused += more.refused;
  state_.damaged += more.damaged;
  for (const auto &[name, group] : more.groups) state_.groups[name].add(group);
  for (const auto &[name, size] : other.sizes_) {
    std::ifstream file(other.path(std::string(kLists) + "/" + name));
    std::string part(1 << 16, '\0');
    for (uint64_t left = size; left > 0 && file;) {
      file.read(part.data(), static_cast<std::streamsize>(std::min<uint64_t>(left, part.size())));
      const std::string text = part.substr(0, static_cast<size_t>(file.gcount()));
      append(path(std::string(kLists) + "/" + name), sizes_[name], text);
      sizes_[name] += text.size();
      left -= text.size();
    }
  }
}

void Store::removeLists() const {
  std::error_code ignored;
  fs::remove_all(path(kLists), ignored);
}

}  // namespace orba::tool
