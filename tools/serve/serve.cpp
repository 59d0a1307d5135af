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
#include "tools/serve/aside.h"
#include "tools/serve/connections.h"
#include "tools/serve/guard.h"
#include "tools/serve/page_file.h"
#include "tools/serve/questions.h"
#include "tools/serve/saved_file.h"
#include "tools/serve/views.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"

namespace orba::tool {

namespace {

using httplib::Request;
using httplib::Response;

// What a change does to traffic: of most it is known in a second, of long lists it may take
// minutes.
constexpr std::chrono::seconds kLongestThought{20};
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

Draft::Value valueIn(const Json &wanted, const char *member = "value") {
  const Json &value = wanted.at(member);
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

Draft::Name nameIn(const Json &wanted) {
  return {spaceIn(wanted), wanted.at("key").get<std::string>()};
}

Against againstOf(const Request &request) {
  return request.get_param_value("against") == "file" ? Against::kFile : Against::kKept;
}

Defaults defaultsIn(const std::string &path) {
  return path.empty() ? Defaults() : byName(readConfig(path));
}

// "DMZEnable, SSID1 (space 2)", of many the first.
std::string listed(const std::vector<Draft::Name> &names) {
  constexpr size_t kMost = 8;
  std::string text;
  for (size_t i = 0; i < std::min(names.size(), kMost); i++) {
    text += (i > 0 ? ", " : "") + visible(names[i].second);
    if (names[i].first != 1) text += " (space " + std::to_string(names[i].first) + ")";
  }
  if (names.size() > kMost) text += " and " + std::to_string(names.size() - kMost) + " more";
  return text;
}

// The page's questions and wishes, answered one at a time: a simulated device
// is the whole process's, and the draft belongs to every page that is open.
class Desk {
 public:
  explicit Desk(const ServeOptions &options)
      : desk_{options.root, options.device, time(nullptr), kChosenChannel},
        file_(options.config, options.save),
        draft_(file_.text()),
        defaults_(defaultsIn(options.defaults)) {
    networkView(desk_, draft_);  // complains of a device file now
  }

  // Below the folder that ends in '/'.
  void open(httplib::Server &server, const std::string &folder) {
    api_ = folder + "api/";
    answer(server, "status",
           [this](const Request &) { return statusView(desk_, draft_, elapsed()); });
    answer(server, "network", [this](const Request &) { return networkView(desk_, draft_); });
    answer(server, "radio", [this](const Request &) { return radioView(desk_, draft_); });
    answer(server, "known", [](const Request &) { return knownView(); });
    answer(server, "settings",
           [this](const Request &) { return withFile(settingsView(draft_, defaults_)); });
    answer(server, "pending", [this](const Request &) { return withFile(pendingView(draft_)); });
    answer(server, "changes", [this](const Request &request) {
      return withFile(changesView(draft_, againstOf(request)));
    });
    answer(server, "effects", [this](const Request &request) {
      return effectsView(desk_, draft_, againstOf(request));
    });
    server.Get(api_ + "traffic", [this](const Request &request, Response &response) {
      std::unique_lock lock(one_at_a_time_);
      auto text = aside_.answer(
          std::move(lock), [&] { return dumped(trafficView(desk_, draft_, againstOf(request))); });
      response.set_content(text.value_or("{\"given_up\": true}"), kJson);
    });
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
      if (wanted.contains("was")) draft_.mustBe(nameIn(wanted), valueIn(wanted, "was"));
      draft_.change(nameIn(wanted), valueIn(wanted));
    });
    wish(server, "undo", [this](const Json &wanted) {
      draft_.change(nameIn(wanted), draft_.kept(nameIn(wanted)));
    });
    wish(server, "keep", [this](const Json &) { draft_.keep(); });
    wish(server, "discard", [this](const Json &) { draft_.discard(); });
    wish(server, "save", [this](const Json &) { save(); });
  }

  // What an end would lose, a line for whoever ends the server; empty for nothing.
  std::string unsaved() {
    std::scoped_lock lock(one_at_a_time_);
    draft_.onFile(file_.text());
    std::string text;
    const std::vector<Draft::Name> kept = draft_.unsaved();
    const bool will_be_saved = !save_failed_ && !file_.target().empty() && file_.sameAsRead();
    if (!kept.empty() && !will_be_saved) {
      text += "kept in memory only, not in " + visible(nameOf(file_.name())) + ": " + listed(kept);
    }
    if (!draft_.changes().empty()) {
      std::vector<Draft::Name> names;
      for (const auto &change : draft_.changes()) names.push_back(change.first);
      text += (text.empty() ? "" : "; ") + std::string("not even kept: ") + listed(names);
    }
    return text;
  }

  void stopThinking() { aside_.stop(); }

  // At the end, what is kept goes to the file that was named for it.
  void saveAtTheEnd() {
    draft_.onFile(file_.text());
    if (file_.target().empty() || draft_.unsaved().empty()) return;
    const std::string names = listed(draft_.unsaved());
    save_failed_ = true;
    save();
    save_failed_ = false;
    std::cout << "Written to " << visible(file_.target()) << ": " << names << std::endl;
  }

 private:
  template <typename Make>
  void answer(httplib::Server &server, const char *name, Make make) {
    server.Get(api_ + name, [this, make](const Request &request, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      draft_.onFile(file_.text());
      response.set_content(dumped(make(request)), kJson);
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

  // What a view is told of the file.
  Json withFile(Json answer) {
    answer["file"] = {{"name", visible(nameOf(file_.name()))},
                      {"target", visible(file_.target())},
                      {"written_by_others", !file_.sameAsRead()}};
    return answer;
  }

  void save() {
    if (file_.target().empty()) throw BadChange("start with --save FILE to write settings");
    file_.write(draft_.keptText());
    draft_.onFile(file_.text());
  }

  // Each wish is answered with what is pending then.
  template <typename Do>
  void wish(httplib::Server &server, const char *name, Do act) {
    server.Post(api_ + name, [this, act](const Request &request, Response &response) {
      std::scoped_lock lock(one_at_a_time_);
      try {
        act(Json::parse(request.body));
        draft_.onFile(file_.text());
        response.set_content(dumped(withFile(pendingView(draft_))), kJson);
      } catch (const Json::exception &) {
        response.status = 400;
        response.set_content("{\"error\": \"this is not what was expected\"}", kJson);
      } catch (const BadChange &error) {
        response.status = 422;
        response.set_content(dumped({{"error", error.what()}}), kJson);
      } catch (const CannotWrite &error) {
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
  SavedFile file_;
  Draft draft_;
  Defaults defaults_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  Questions questions_{desk_, draft_};
  std::mutex one_at_a_time_;
  bool save_failed_ = false;  // at the end, which is not tried again
  Aside aside_{kLongestThought};
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

// Somebody at a terminal who would lose something is told so, and goes on or asks again.
void waitForTheEnd(Desk &desk, const sigset_t &stops) {
  int stop = 0;
  sigwait(&stops, &stop);
  if (stop != SIGINT || isatty(STDIN_FILENO) == 0) return;
  const std::string unsaved = desk.unsaved();
  if (unsaved.empty()) return;
  std::cerr << "\norba: " << unsaved << ".\nThe page can save it (Changes); Ctrl-C once more ends."
            << std::endl;
  sigwait(&stops, &stop);
}

void tellWhatIsLost(Desk &desk) {
  const std::string lost = desk.unsaved();
  if (!lost.empty()) std::cerr << "orba: lost, as it was " << lost << std::endl;
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
  waitForTheEnd(desk, stops);
  bool failed = ended;
  desk.stopThinking();
  server.stop();
  listener.join();
  try {
    desk.saveAtTheEnd();
  } catch (const std::runtime_error &) {
    tellWhatIsLost(desk);
    throw;
  }
  tellWhatIsLost(desk);
  if (failed) throw CannotServe("the connection to " + inUrl(options.address) + " was lost");
}

}  // namespace orba::tool
