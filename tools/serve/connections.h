// A server of which no client has more than a share, however slow or many they are.
#ifndef ORBA_TOOLS_SERVE_CONNECTIONS_H
#define ORBA_TOOLS_SERVE_CONNECTIONS_H

#include <httplib.h>

#include <atomic>

namespace orba::tool {

// One request a connection, of a bounded size, asked and answered in bounded time:
// ten seconds each, and a tenth of one while others wait for their turn. A part of
// an answer is never given, whatever ranges are asked for.
class FairServer : public httplib::Server {
 public:
  FairServer();

 private:
  class Turns;
  bool process_and_close_socket(socket_t socket) override;

  std::atomic<size_t> present_ = 0;
};

}  // namespace orba::tool

#endif
