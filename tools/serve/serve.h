// The room tools/serve: the page. What it shows is asked of the other rooms; here is who
// may ask, what is being edited, and how a view is put together.
//
// The device on the desk in a browser.
#ifndef ORBA_TOOLS_SERVE_SERVE_H
#define ORBA_TOOLS_SERVE_SERVE_H

#include <string>

#include "tools/catalog/entry_point.h"

namespace orba::tool {

// Asked for an address that cannot be listened on.
struct CannotServe : BadArgument {
  using BadArgument::BadArgument;
};

struct ServeOptions {
  std::string config;
  std::string save;      // where the page may write the settings to; empty: nowhere
  std::string defaults;  // the settings that the device comes with; empty: not known
  std::string root;
  std::string device;
  std::string address = "127.0.0.1";
  int port = 8088;  // 0: any that is free
};

// Answers until SIGINT or SIGTERM. Says what is then in no file; somebody at a terminal is asked
// for SIGINT once more before it is lost. Throws BadConfig, CannotServe, CannotWrite.
void serve(const ServeOptions &options);

}  // namespace orba::tool

#endif
