// orba: see what the library would do, or do it.
#include <bsd/readpassphrase.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <sstream>

#include "tools/catalog/entry_point.h"
#include "tools/cli/commands.h"
#include "tools/device/config.h"
#include "tools/lab/apply.h"
#include "tools/lab/confine.h"
#include "tools/lab/lab.h"
#include "tools/serve/serve.h"
#include "tools/show/explain.h"
#include "tools/show/report.h"
#include "tools/text/lines.h"

namespace {

using namespace orba::tool;

// What the device has besides settings, and how the answer is printed.
void addDeviceOptions(CLI::App &command, Options &options) {
  command.add_option("-r,--root", options.root, "A folder with the device's files, read only")
      ->check(CLI::ExistingDirectory);
  command.add_option("-d,--device", options.device, "What the device on the desk has and finds")
      ->check(CLI::ExistingFile);
  command.add_option("--at", options.at, "The device's time, such as \"Mon 22:45\"");
  command.add_flag("--lab", options.in_lab, "With the addresses and files of the lab's router")
      ->excludes("--root");
  command.add_flag("--json", options.json, "Print for programs");
}

void addCallOptions(CLI::App &command, Options &options, const char *entry_name) {
  command.add_option(entry_name, options.entry, "The entry point; 'orba list' shows them")
      ->required();
  command.add_option("ARG", options.words, "Its arguments");
  command.add_option("-c,--config", options.config, "The settings: KEY=VALUE lines, [1] and [2]");
  addDeviceOptions(command, options);
}

void addDiffOptions(CLI::App &command, Options &options) {
  options.entry = "firewall_init";
  command.add_option("BEFORE", options.config, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  command.add_option("AFTER", options.changed_config, "The changed settings")->required();
  command.add_option("ENTRY", options.entry, "The entry point")->capture_default_str();
  command.add_option("ARG", options.words, "Its arguments");
  command.add_option("--picture", options.picture,
                     "Write the chains with what changes to this file, as SVG");
  addDeviceOptions(command, options);
}

void addApplyOptions(CLI::App &command, ApplyOptions &options) {
  command.add_option("ENTRY", options.entry, "The entry point; 'orba list' shows them")->required();
  command.add_option("ARG", options.words, "Its arguments");
  command.add_option("-c,--config", options.config, "The settings; the lab's when not given");
  command.add_flag("--on-this-machine", options.on_this_machine,
                   "Change this machine, not the lab; without --config by its own settings");
  command.add_flag("--json", options.json, "Print for programs");
}

#ifdef ORBA_HAS_SERVE
void addServeOptions(CLI::App &command, ServeOptions &options) {
  command.add_option("-c,--config", options.config, "The settings, which are never written to")
      ->required();
  command.add_option("-r,--root", options.root, "A folder with the device's files, read only")
      ->check(CLI::ExistingDirectory);
  command.add_option("-d,--device", options.device, "What the device on the desk has and finds")
      ->check(CLI::ExistingFile);
  command.add_option("-p,--port", options.port, "The port; 0: any that is free")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  command.add_option("--address", options.address, "The address to listen on")
      ->capture_default_str();
}
#endif

// The words of the lab's scripts, each named as its subcommand.
void addLabCommands(CLI::App &lab, std::vector<std::string> &words) {
  lab.require_subcommand(1);
  lab.add_subcommand("up", "Make the lab")
      ->add_option("-c,--config", words, "The settings that it is made for")
      ->required()
      ->expected(1)
      ->check(CLI::ExistingFile);
  lab.add_subcommand("down", "Take it away");
  lab.add_subcommand("shell", "A shell, or a command, on one of its hosts")
      ->add_option("HOST", words, "router, lan or internet, and the command with its words");
  lab.add_subcommand("test", "The library's commands with real tools and packets")
      ->add_option("NAME", words, "Only these tests");
}

// Reads a line from standard input, or unseen from the terminal when it is one.
std::string readSecret(const char *prompt) {
  std::string secret(1024, '\0');
  if (isatty(STDIN_FILENO) == 0) {
    std::getline(std::cin, secret);
  } else if (readpassphrase(prompt, secret.data(), secret.size(), RPP_ECHO_OFF) != nullptr) {
    secret.resize(strlen(secret.c_str()));
  } else {
    secret.clear();
  }
  return secret;
}

int psk(const std::string &ssid) {
  std::string passphrase = readSecret("Pass phrase: ");
  // IEEE 802.11i: 8 to 63 characters; the derivation itself takes shorter ones.
  if (passphrase.size() < 8 || passphrase.size() > 63) {
    throw BadArgument("a pass phrase has 8 to 63 characters, not " +
                      std::to_string(passphrase.size()));
  }
  std::cout << entryPointNamed("PasswordHash").call({passphrase, ssid}).returned << "\n";
  explicit_bzero(passphrase.data(), passphrase.size());
  return kDone;
}

Exit complain(const std::exception &error, Exit code) {
  std::cerr << "orba: " << forReader(error.what(), STDERR_FILENO) << "\n";
  return code;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"See what liborba_util would do with a router's settings."};
  app.require_subcommand(1);
  app.footer("Exit codes: 0 done, 1 something was found, 2 wrong usage, 3 bad configuration.");
  app.set_version_flag("--version", ORBA_VERSION);
  Options options;

  CLI::App *list_command = app.add_subcommand("list", "Every entry point, by subsystem");
  list_command->add_flag("--json", options.json, "Print for programs");

  CLI::App *plan_command = app.add_subcommand(
      "plan", "Call an entry point on the simulated device and show what it would do");
  addCallOptions(*plan_command, options, "ENTRY");
  plan_command->add_flag("--raw", options.raw, "Only the exact lines given to the shell");
  plan_command->add_option("--ticks", options.ticks,
                           "Let so many tenths of a second pass and run the timer's handler");
  plan_command->add_flag("--tables", options.tables, "The resulting chains, as packets meet them");
  plan_command
      ->add_flag("--origins", options.origins, "Below each command the settings it comes from")
      ->excludes("--ticks");
  plan_command
      ->add_option("--picture", options.picture, "Write the resulting chains to this file, as SVG")
      ->excludes("--ticks");

  CLI::App *show_command =
      app.add_subcommand("show", "What a getter answers; 'show schedule': the radio's week");
  addCallOptions(*show_command, options, "GETTER");

  show_command->add_flag("--raw", options.raw, "The answer as the getter writes it");

  CLI::App *diff_command = app.add_subcommand(
      "diff", "What changes in an entry point's commands and chains with the settings");
  Options diff_options;
  addDiffOptions(*diff_command, diff_options);

  CLI::App *psk_command =
      app.add_subcommand("psk", "The WPA key of a network, from a pass phrase on standard input");
  psk_command->add_option("SSID", options.entry, "The network's name")->required();

  CLI::App *check_command = app.add_subcommand(
      "check", "Records that would be passed over or cut, and values out of form");
  check_command->add_option("-c,--config", options.config, "The settings")->required();
  check_command->add_flag("--json", options.json, "Print for programs");

  CLI::App *explain_command = app.add_subcommand(
      "explain", "What a setting or an entry point does; without a name, every setting");
  explain_command->add_option("NAME", options.entry, "Such as DMZEnable or iptablesDMZRun");
  explain_command->add_flag("--json", options.json, "Print for programs");

  ApplyOptions apply_options;
  CLI::App *apply_command =
      app.add_subcommand("apply", "Call an entry point with real commands, in the lab's router");
  addApplyOptions(*apply_command, apply_options);

#ifdef ORBA_HAS_SERVE
  ServeOptions serve_options;
  CLI::App *serve_command = app.add_subcommand(
      "serve", "The device on the desk in a browser: what it shows, and what a change would do");
  addServeOptions(*serve_command, serve_options);
#endif

  CLI::App *lab_command =
      app.add_subcommand("lab", "A router and two hosts on one machine, in network namespaces");
  std::vector<std::string> lab_words;
  addLabCommands(*lab_command, lab_words);

  try {
    // What stands behind the host is another command's, options and all.
    if (argc > 3 && argv[1] == std::string("lab") && argv[2] == std::string("shell") &&
        argv[3][0] != '-') {
      confine();
      runInLab({argv + 3, argv + argc});
    }
    app.parse(argc, argv);
    if (options.in_lab || diff_options.in_lab) confine();
    if (list_command->parsed()) return list(options.json);
    if (plan_command->parsed()) return plan(options);
    if (diff_command->parsed()) return diff(diff_options);
    if (check_command->parsed()) return check(options);
    if (psk_command->parsed()) return psk(options.entry);
    if (explain_command->parsed()) {
      explain(std::cout, options.entry, options.json);
      return kDone;
    }
    if (apply_command->parsed()) {
      if (!apply_options.on_this_machine) confine();
      return apply(apply_options) ? kDone : kFound;
    }
#ifdef ORBA_HAS_SERVE
    if (serve_command->parsed()) return serve(serve_options), kDone;
#endif
    if (lab_command->parsed()) {
      std::string command = lab_command->get_subcommands().front()->get_name();
      // What the tests do is their maker's; each of their labs is confined by itself.
      if (command != "test") confine();
      if (command == "shell") runInLab(lab_words);
      runLabScript(command + ".sh", lab_words);
    }
    return show(options);
  } catch (const CLI::ParseError &error) {
    std::ostringstream said, complained;
    int code = app.exit(error, said, complained);
    std::cout << said.str();
    std::cerr << forReader(complained.str(), STDERR_FILENO);
    return code == 0 ? kDone : kUsage;
  } catch (const BadConfig &error) {
    return complain(error, kConfig);
  } catch (const BadArgument &error) {
    return complain(error, kUsage);
  } catch (const CannotServe &error) {
    return complain(error, kUsage);
  } catch (const NoLab &error) {
    return complain(error, kUsage);
  }
}
