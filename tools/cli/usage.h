// What is said to whoever typed something that the tool does not take: what to type.
#ifndef ORBA_TOOLS_CLI_USAGE_H
#define ORBA_TOOLS_CLI_USAGE_H

#include <string>
#include <vector>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace orba::tool {

// The words behind the program's name, as the tool reads them: "help WORD..." asks for the help
// of these words.
std::vector<std::string> wordsOf(int argc, char **argv);

// Throws BadArgument, with near names, when the first words name no subcommand.
void requireSubcommand(const CLI::App &app, const std::vector<std::string> &words);

// What was wrong with the words that `app` has read, and how they are to be.
std::string usageError(const CLI::App &app, const CLI::Error &error);

}  // namespace orba::tool

#endif
