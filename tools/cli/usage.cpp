#include "tools/cli/usage.h"

#include <CLI/CLI.hpp>

#include "tools/catalog/entry_point.h"
#include "tools/text/near_names.h"

namespace orba::tool {

namespace {

// "orba lab up"
std::string nameOf(const CLI::App &command) {
  const CLI::App *parent = command.get_parent();
  return (parent != nullptr ? nameOf(*parent) + " " : "") + command.get_name();
}

std::vector<const CLI::App *> subcommandsOf(const CLI::App &command) {
  return command.get_subcommands([](const CLI::App *) { return true; });
}

std::string joinedNames(const CLI::App &command) {
  std::string text;
  for (const CLI::App *each : subcommandsOf(command)) {
    text += (text.empty() ? "" : ", ") + each->get_name();
  }
  return text;
}

// The subcommand that was being read.
const CLI::App &readCommand(const CLI::App &app) {
  const std::vector<CLI::App *> read = app.get_subcommands();
  return read.empty() ? app : readCommand(*read.front());
}

std::string withoutEnd(const std::string &text, const std::string &end) {
  return text.ends_with(end) ? text.substr(0, text.size() - end.size()) : "";
}

std::string unexpectedWord(const CLI::App &command, const std::string &word) {
  if (!word.starts_with('-')) return "'" + word + "' is one word too many";
  std::vector<std::string> options;
  for (const CLI::Option *option : command.get_options()) {
    for (const std::string &name : option->get_lnames()) options.push_back("--" + name);
  }
  const std::string name = word.substr(0, word.find('='));
  return "there is no option '" + name + "'" +
         didYouMean(name, options, "'" + nameOf(command) + " --help' shows them");
}

// In our words, where the parser's do not say what to do.
std::string sentence(const CLI::App &command, const CLI::Error &error) {
  const std::string said = error.what();
  if (said.find(" not expected: ") != std::string::npos) {
    return unexpectedWord(command, said.substr(said.rfind(' ') + 1));  // the last is the first
  }
  if (const std::string missing = withoutEnd(said, " is required"); !missing.empty()) {
    if (missing == "A subcommand") return "one is missing of " + joinedNames(command);
    return (missing == "--config" ? "-c FILE" : missing) + " is missing";
  }
  if (const size_t at = said.find(" excludes "); at != std::string::npos) {
    return said.substr(0, at) + " and " + said.substr(at + sizeof " excludes " - 1) +
           " do not go together: leave one of them out";
  }
  return said;
}

}  // namespace

std::vector<std::string> wordsOf(int argc, char **argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  return words;
}

void requireSubcommand(const CLI::App &app, const std::vector<std::string> &words) {
  const CLI::App *command = &app;
  for (const std::string &word : words) {
    const CLI::App *next = nullptr;
    std::vector<std::string> names;
    for (const CLI::App *each : subcommandsOf(*command)) {
      names.push_back(each->get_name());
      if (word == each->get_name()) next = each;
    }
    if (names.empty() || word.starts_with('-')) return;
    if (next == nullptr) {
      const std::string name = nameOf(*command);
      throw BadArgument("there is no '" + name + " " + word + "'" +
                        didYouMean(word, names, "'" + name + " --help' shows what there is"));
    }
    command = next;
  }
}

std::string usageError(const CLI::App &app, const CLI::Error &error) {
  const CLI::App &command = readCommand(app);
  const std::string name = nameOf(command);
  const auto formatter = std::dynamic_pointer_cast<CLI::Formatter>(command.get_formatter());
  const std::string told = command.get_parent() != nullptr ? command.get_name() + ": " : "";
  return told + sentence(command, error) + "\n" +
         (formatter != nullptr ? formatter->make_usage(&command, name) : "") + "'" + name +
         " --help' tells more";
}

}  // namespace orba::tool
