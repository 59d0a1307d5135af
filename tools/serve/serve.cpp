#include "tools/serve/serve.h"
#include <nlohmann/json.hpp>

#include <httplib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <mutex>
#include <thread>

#include "tools/device/config.h"
#include "tools/firewall/picture_style.h"
#include "tools/serve/connections.h"
#include "tools/serve/guard.h"
#include "tools/serve/page_file.h"
#include "tools/serve/questions.h"
#include "tools/serve/views.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using httplib::Request;
using httplib::Response;

constexpr int kChosenChannel = 6;  // by the radio, when the settings leave it to choose

// Nothing but this server's own files: no script or style within the page, no
// frame around it, nothing from elsewhere.
constexpr char kContentPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

const httplib::Headers kHeaders = {
    {"Content-Security-Policy", kContentPolicy},
    {"X-Content-Type-Options", "nosniff"},
    {"Cache-Control", "no-store"},
    {"Accept-Ranges", "none"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

constexpr char kJson[] = "application/json";

PacketQuestion packetQuestionIn(const Request &request) {
  auto given = [&](const char *name) { return request.get_param_value(name); };
  return {given("from"),  given("source"), given("destination"), given("protocol"), given("state"),
          given("flags"), given("mac"),    given("source_port"), given("length")};
}

// Readable without a fault, or it throws.
std::string readText(const std::string &path) {
  std::string text = configText(path);
  configIn(text, path);
  return text;
}

Draft::Value valueIn(const Json &wanted) {
  const Json &value = wanted.at("value");
  return value.is_null() ? std::nullopt : Draft::Value(value.get<std::string>());
}

// Of all that JSON calls a number, and would be cut or rounded to one.
int spaceIn(const Json &wanted) {
  const Json &space = wanted.at("space");
  if (!space.is_number_integer() || space < nvram::kFirstSpace || space > nvram::kLastSpace) {
    throw BadChange("there is no space " + space.dump());
  }
  return space.get<int>();
}

// The page's questions and wishes, answered one at a time: a simulated device
// is the whole process's, and the draft belongs to every page that is open.
class Desk {
 public:
  explicit Desk(const ServeOptions &options)
      : desk_{options.root, options.device, time(nullptr), kChosenChannel},
        draft_(readText(options.config)) {
    networkView(desk_, draft_);  // complains of a device file now
  }

  // Below the folder that ends in '/'.
  void open(httplib::Server &server, const std::string &folder) {
    api_ = folder + "api/";
    answer(server, "status", [this] { return statusView(desk_, draft_, elapsed()); });
    answer(server, "network", [this] { return networkView(desk_, draft_); });
    answer(server, "radio", [this] { return radioView(desk_, draft_); });
    answer(server, "settings", [this] { return settingsView(draft_); });
    answer(server, "changes", [this] { return changesView(draft_); });
    answer(server, "effects", [this] { return effectsView(desk_, draft_); });
    answerAbout(server, "firewall.svg", "image/svg+xml",
                [this](Settings of, const Request &) { return questions_.picture(of); });
    answerAbout(server, "firewall", kJson,
                [this](Settings of, const Request &) { return questions_.list(of); });
    answerAbout(server, "offers", kJson,
                [this](Settings of, const Request &) { return dumped(questions_.offers(of)); });
    answerAbout(server, "trace", kJson, [this](Settings of, const Request &request) {
      return dumped(questions_.trace(of, packetQuestionIn(request)));
    });
    answerAbout(server, "ports", kJson, [this](Settings of, const Request &request) {
      return dumped(
          questions_.ports(of, {request.get_param_value("from"), request.get_param_value("to")}));
    });
    server.Get(api_ + "picture.css", [](const Request &, Response &response) {
      response.set_content(kPictureStyle, "text/css");
    });
    server.Get(api_ + "settings.conf", [this](const Request &, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      response.set_header("Content-Disposition", "attachment; filename=\"router.conf\"");
      response.set_content(draft_.text(), "text/plain");
    });
    wish(server, "change", [this](const Json &wanted) {
      draft_.change({spaceIn(wanted), wanted.at("key").get<std::string>()}, valueIn(wanted));
    });
    wish(server, "keep", [this](const Json &) { draft_.keep(); });
    wish(server, "discard", [this](const Json &) { draft_.discard(); });
  }

 private:
  template <typename Make>
  void answer(httplib::Server &server, const char *name, Make make) {
    server.Get(api_ + name, [this, make](const Request &, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      response.set_content(dumped(make()), kJson);
    });
  }

  // Of what was kept, or with `changes` of what would be then.
  template <typename Make>
  void answerAbout(httplib::Server &server, const char *name, const char *type, Make make) {
    server.Get(api_ + name, [this, type, make](const Request &request, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      const bool changed = request.has_param("changes");
      response.set_content(make(changed ? Settings::kChanged : Settings::kKept, request), type);
    });
  }

  // Each wish is answered with the changes as they are now.
  template <typename Do>
  void wish(httplib::Server &server, const char *name, Do act) {
    server.Post(api_ + name, [this, act](const Request &request, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      try {
        act(Json::parse(request.body));
        response.set_content(dumped(changesView(draft_)), kJson);
      } catch (const Json::exception &) {
        response.status = 400;
        response.set_content("{\"error\": \"this is not what was expected\"}", kJson);
      } catch (const BadChange &error) {
        response.status = 422;
        response.set_content(dumped({{"error", error.what()}}), kJson);
      }
    });
  }

  long long elapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 started_)
        .count();
  }

  std::string api_;
  DeskDevice desk_;
  Draft draft_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  Questions questions_{desk_, draft_};
  std::mutex one_at_a_time_;
};

void tellFailures(httplib::Server &server) {
  server.set_exception_handler([](const Request &, Response &response, std::exception_ptr failure) {
    response.status = 500;
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception &error) {
      response.set_content(dumped({{"error", error.what()}}), kJson);
    }
  });
}

void openPage(httplib::Server &server, const std::string &folder) {
  for (const PageFile &file : pageFiles()) {
    server.Get(folder + (file.path + 1), [&file](const Request &, Response &response) {
      response.set_content(file.content.data(), file.content.size(), file.type);
    });
  }
}

void closeToOthers(httplib::Server &server, const Guard &guard) {
  server.set_default_headers(kHeaders);
  server.set_pre_routing_handler([&guard](const Request &request, Response &response) {
    auto header = [&](const char *name) { return request.get_header_value(name); };
    const char *refusal = guard.refusal(request.method, header);
    if (refusal == nullptr && guard.invites(request.path, request.get_param_value("token"))) {
      response.set_header("Set-Cookie", guard.cookie());
      response.set_redirect(guard.folder(), 303);
      return httplib::Server::HandlerResponse::Handled;
    }
    if (refusal == nullptr && !guard.knows(header)) {
      refusal = "open the address that orba serve has printed";
    }
    if (refusal == nullptr) return httplib::Server::HandlerResponse::Unhandled;
    response.status = 403;
    response.set_content(std::string("Refused: ") + refusal + ".\n", "text/plain");
    return httplib::Server::HandlerResponse::Handled;
  });
}

int bindTo(httplib::Server &server, const ServeOptions &options) {
  // Without the library's SO_REUSEPORT, with which two servers share a port.
  server.set_socket_options([](socket_t socket) {
    int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  int port = options.port;
  errno = 0;
  bool bound = true;
  if (port == 0) {
    port = server.bind_to_any_port(options.address);
    bound = port > 0;
  } else {
    bound = server.bind_to_port(options.address, port);
  }
  if (bound) return port;
  std::string reason = errno != 0 ? strerror(errno) : "this is no address of this machine";
  throw CannotServe("cannot listen on " + inUrl(options.address) + ":" +
                    std::to_string(options.port) + ": " + reason);
}

}  // namespace

void serve(const ServeOptions &options) {
  Desk desk(options);
  FairServer server;
  int port = bindTo(server, options);
  Guard guard(options.address, port);
  closeToOthers(server, guard);
  tellFailures(server);
  openPage(server, guard.folder());
  desk.open(server, guard.folder());

  // The listener's threads inherit the mask; the signals wait for sigwait.
  sigset_t stops;
  sigemptyset(&stops);
  sigaddset(&stops, SIGINT);
  sigaddset(&stops, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stops, nullptr);
  // Connections wait already; what cannot be told is thrown while there is no other thread.
  std::cout << "http://" << visible(inUrl(options.address)) << ":" << port << guard.invitation()
            << "  (Ctrl-C stops)" << std::endl;
  if (!isLoopback(options.address)) {
    std::cout << "Whoever reads along on the way can see and change these settings." << std::endl;
  }
  std::atomic<bool> ended = false;
  std::thread listener([&] {
    server.listen_after_bind();
    ended = true;
    kill(getpid(), SIGTERM);
  });
  while (!server.is_running() && !ended) std::this_thread::yield();
  int stop = 0;
  sigwait(&stops, &stop);
  bool failed = ended;
  server.stop();
  listener.join();
  if (failed) throw CannotServe("the connection to " + inUrl(options.address) + " was lost");
}

}  // namespace orba::tool
