#include "tools/rehearse/crew.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "sim/root.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr unsigned kSecondsOfPart = 60;
constexpr uint32_t kNoPart = UINT32_MAX;
// So many tasks for each worker are under way or wait for those before them.
constexpr size_t kMostWaiting = 8;

bool sendAll(int to, const void *bytes, size_t length) {
  const char *next = static_cast<const char *>(bytes);
  while (length > 0) {
    const ssize_t now = send(to, next, length, MSG_NOSIGNAL);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return false;
    next += now;
    length -= static_cast<size_t>(now);
  }
  return true;
}

bool receiveAll(int from, void *bytes, size_t length) {
  char *next = static_cast<char *>(bytes);
  while (length > 0) {
    const ssize_t now = recv(from, next, length, 0);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return false;
    next += now;
    length -= static_cast<size_t>(now);
  }
  return true;
}

bool sendText(int to, const std::string &text) {
  const uint64_t length = text.size();
  return sendAll(to, &length, sizeof length) && sendAll(to, text.data(), text.size());
}

bool receiveText(int from, std::string &text) {
  uint64_t length;
  if (!receiveAll(from, &length, sizeof length)) return false;
  text.resize(length);
  return receiveAll(from, text.data(), text.size());
}

// "1 2 Segmentation fault", a line each
std::string deathsText(const Deaths &deaths) {
  std::string text;
  for (const auto &[at, cause] : deaths) {
    text += std::to_string(at.first) + " " + std::to_string(at.second) + " " + cause + "\n";
  }
  return text;
}

Deaths deathsIn(const std::string &text) {
  Deaths deaths;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    unsigned part, step;
    int read = 0;
    sscanf(text.c_str() + begin, "%u %u %n", &part, &step, &read);
    const size_t cause = begin + static_cast<size_t>(read);
    deaths[{part, step}] = text.substr(cause, end - cause);
    begin = end + 1;
  }
  return deaths;
}

struct Task {
  size_t number;
  std::string text;
  Deaths deaths = {};
  Deaths suspected = {};  // that have happened once
};

class Worker {
 public:
  Worker()
      : place_(static_cast<Place *>(mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE,
                                         MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (place_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  }
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;
  ~Worker() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      wait();
    }
    munmap(place_, sizeof(Place));
  }

  int descriptor() const { return socket_; }
  bool busy() const { return task_.has_value(); }

  // `others` have sockets of their own, which this one is not to hold open.
  void give(Task task, const Work &work, const std::vector<std::unique_ptr<Worker>> &others) {
    task_ = std::move(task);
    if (child_ < 0) begin(work, others);
    place_->part = kNoPart;
    place_->step = kNoPart;
    // That it does not arrive is seen when nothing comes back.
    if (sendText(socket_, task_->text)) sendText(socket_, deathsText(task_->deaths));
  }

  // What it has done, or nothing when it has died; then it is given the task again.
  std::optional<std::string> take(const Work &work,
                                  const std::vector<std::unique_ptr<Worker>> &others) {
    std::string result;
    if (receiveText(socket_, result)) return result;
    const std::string cause = wait();
    const std::pair<uint32_t, uint32_t> at = {place_->part, place_->step};
    // Somebody may have killed it: what it was at is tried once more.
    Task task = std::move(*task_);
    if (!task.suspected.try_emplace(at, cause).second) {
      if (at.first == kNoPart) throw std::runtime_error("a worker has died: " + cause);
      task.deaths[at] = cause;
    }
    give(std::move(task), work, others);
    return std::nullopt;
  }

  size_t finish() {
    const size_t number = task_->number;
    task_.reset();
    return number;
  }

 private:
  void begin(const Work &work, const std::vector<std::unique_ptr<Worker>> &others) {
    static const sim::Root folder_made;  // in which those of all devices are
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    std::cout.flush();
    const pid_t maker = getpid();
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != maker) _exit(1);
      for (const auto &other : others) {
        if (other->socket_ >= 0) close(other->socket_);
      }
      close(ends[0]);
      serve(ends[1], work);
    }
    const int error = errno;
    close(ends[1]);
    socket_ = ends[0];
    if (child_ < 0) throw std::system_error(error, std::generic_category(), "fork");
  }

  [[noreturn]] void serve(int socket, const Work &work) {
    signal(SIGALRM, SIG_DFL);
    std::string task, deaths;
    try {
      while (receiveText(socket, task) && receiveText(socket, deaths)) {
        alarm(kSecondsOfPart);
        const std::string result = work(task, deathsIn(deaths), *place_);
        alarm(0);
        if (!sendText(socket, result)) break;
      }
    } catch (const std::exception &error) {
      std::cerr << "orba: " << visible(error.what()) << "\n";
      _exit(1);
    }
    _exit(0);
  }

  // How it ended.
  std::string wait() {
    int status = 0;
    close(socket_);
    socket_ = -1;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
    child_ = -1;
    return WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "ended by itself";
  }

  pid_t child_ = -1;
  int socket_ = -1;
  Place *place_;
  std::optional<Task> task_;
};

}  // namespace

void beginStep(Place &place, uint32_t part, uint32_t step) {
  if (place.part != part) alarm(kSecondsOfPart);
  place.part = part;
  place.step = step;
}

void haveDone(const Tasks &tasks, size_t workers, const Work &work,
              const std::function<void(std::string result)> &done) {
  std::vector<std::unique_ptr<Worker>> crew;
  for (size_t i = 0; i < workers; i++) crew.push_back(std::make_unique<Worker>());
  std::map<size_t, std::string> results;  // that wait for those before them
  size_t begun = 0, handed_over = 0;
  bool ended = false;
  const auto idle = [&]() -> Worker * {
    for (const auto &each : crew) {
      if (!each->busy()) return each.get();
    }
    return nullptr;
  };
  for (;;) {
    Worker *free = ended || begun - handed_over >= workers * kMostWaiting ? nullptr : idle();
    std::vector<pollfd> waiting;
    std::vector<Worker *> at_work;
    for (const auto &each : crew) {
      if (!each->busy()) continue;
      waiting.push_back({each->descriptor(), POLLIN, 0});
      at_work.push_back(each.get());
    }
    if (free != nullptr) waiting.push_back({tasks.descriptor, POLLIN, 0});
    if (waiting.empty()) return;
    const bool at_once = free != nullptr && tasks.descriptor < 0;
    if (poll(waiting.data(), waiting.size(), at_once ? 0 : -1) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    for (size_t i = 0; i < at_work.size(); i++) {
      if (waiting[i].revents == 0) continue;
      if (auto result = at_work[i]->take(work, crew)) {
        results[at_work[i]->finish()] = std::move(*result);
      }
    }
    for (auto next = results.begin(); next != results.end() && next->first == handed_over;
         next = results.erase(next)) {
      handed_over++;
      done(std::move(next->second));
    }
    if (free == nullptr || (!at_once && waiting.back().revents == 0)) continue;
    std::optional<std::string> task = tasks.next();
    ended = !task.has_value();
    if (ended || task->empty()) continue;
    free->give({begun++, std::move(*task)}, work, crew);
  }
}

}  // namespace orba::tool
