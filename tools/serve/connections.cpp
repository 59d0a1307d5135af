#include "tools/serve/connections.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "tools/serve/guard.h"

namespace orba::tool {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr size_t kServedAtOnce = 64;
constexpr auto kPatience = 10s;
constexpr auto kPatienceInACrowd = 100ms;
// A request's line, its headers and the largest body that Guard lets through.
constexpr size_t kLongestRequest = size_t{16} * 1024 + kLongestBody;

// One connection, read and written until its time is over.
class TimedStream : public httplib::Stream {
 public:
  TimedStream(socket_t socket, const std::atomic<size_t> &present)
      : socket_(socket), present_(present), asked_(Clock::now()) {}

  bool is_readable() const override { return begin_ < end_ || becomes(POLLIN, asked_); }
  bool is_writable() const override { return true; }

  ssize_t read(char *text, size_t size) override {
    if (begin_ == end_ && !fill()) return 0;
    size_t length = std::min(size, end_ - begin_);
    memcpy(text, buffer_ + begin_, length);
    begin_ += length;
    return static_cast<ssize_t>(length);
  }

  ssize_t write(const char *text, size_t size) override {
    if (answered_ == Clock::time_point()) answered_ = Clock::now();
    while (becomes(POLLOUT, answered_)) {
      ssize_t sent = send(socket_, text, size, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent >= 0 || (errno != EINTR && errno != EAGAIN)) return sent;
    }
    return -1;
  }

  void get_remote_ip_and_port(std::string &, int &) const override {}
  void get_local_ip_and_port(std::string &, int &) const override {}
  socket_t socket() const override { return socket_; }

 private:
  bool fill() {
    if (total_ >= kLongestRequest || !becomes(POLLIN, asked_)) return false;
    ssize_t got = recv(socket_, buffer_, sizeof buffer_, MSG_DONTWAIT);
    if (got <= 0) return false;
    begin_ = 0;
    end_ = static_cast<size_t>(got);
    total_ += end_;
    return true;
  }

  // Whether the socket is ready before the time that began at `start` is over.
  // Looked at again and again: a crowd may come at any moment.
  bool becomes(short ready, Clock::time_point start) const {
    pollfd wanted = {socket_, ready, 0};
    auto patience = [this] {
      return present_ > kServedAtOnce ? Clock::duration(kPatienceInACrowd) : kPatience;
    };
    while (Clock::now() - start < patience()) {
      if (poll(&wanted, 1, 20) > 0) return true;
    }
    return false;
  }

  const socket_t socket_;
  const std::atomic<size_t> &present_;
  const Clock::time_point asked_;
  Clock::time_point answered_;
  char buffer_[4096];
  size_t begin_ = 0, end_ = 0, total_ = 0;
};

}  // namespace

// Connections that are served, or wait until a thread is free, counted. One that a free
// thread has yet to wake up for makes no crowd.
class FairServer::Turns : public httplib::TaskQueue {
 public:
  explicit Turns(std::atomic<size_t> &present) : present_(present), pool_(kServedAtOnce) {}

  void enqueue(std::function<void()> serve) override {
    present_++;
    pool_.enqueue([this, serve = std::move(serve)] {
      serve();
      present_--;
    });
  }
  void shutdown() override {
    present_ += kServedAtOnce + 1;  // whoever wants the server's end
    pool_.shutdown();
  }

 private:
  std::atomic<size_t> &present_;
  httplib::ThreadPool pool_;
};

FairServer::FairServer() {
  new_task_queue = [this] { return new Turns(present_); };
}

bool FairServer::process_and_close_socket(socket_t socket) {
  TimedStream stream(socket, present_);
  bool closed = false;
  bool done = process_request(stream, true, closed, [](httplib::Request &request) {
    request.ranges.clear();
    request.headers.erase("Range");
    // To press two megabytes of answer together takes longer than all that made it.
    request.headers.erase("Accept-Encoding");
  });
  ::shutdown(socket, SHUT_RDWR);
  close(socket);
  return done;
}

}  // namespace orba::tool
