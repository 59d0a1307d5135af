// orba serve: the device on the desk in a browser.
#include "tools/serve/serve.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/cli/subcommands.h"

namespace orba::tool {

void addServe(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ServeOptions>();
  CLI::App &command = *app.add_subcommand(
      "serve", "The device on the desk in a browser: what it shows, and what a change would do");
  command.add_option("-c,--config,FILE", options->config, "The settings")->required();
  command.add_option("--save", options->save,
                     "Where the page may write the settings to: FILE itself, or a new file");
  command
      .add_option("--defaults", options->defaults,
                  "The settings that the device comes with, to mark what differs from them")
      ->check(CLI::ExistingFile);
  command.add_option("-r,--root", options->root, "A folder with the device's files, read only")
      ->check(CLI::ExistingDirectory);
  command.add_option("-d,--device", options->device, "What the device on the desk has and finds")
      ->check(CLI::ExistingFile);
  command.add_option("-p,--port", options->port, "The port; 0: any that is free")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  command.add_option("--address", options->address, "The address to listen on")
      ->capture_default_str();
  command.callback([options, &exit] {
    serve(*options);
    exit = kDone;
  });
}

}  // namespace orba::tool
