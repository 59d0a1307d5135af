// The room tools/cli: the command line: which subcommand has which options and exit codes.
// What a subcommand finds out and how that is put belongs to the rooms below.
//
// The tool's subcommands: each has a struct of options, a function that runs it, and one
// that registers both.
#ifndef ORBA_TOOLS_CLI_SUBCOMMANDS_H
#define ORBA_TOOLS_CLI_SUBCOMMANDS_H

namespace CLI {
class App;
}

namespace orba::tool {

// What the tool's exit codes mean.
enum Exit { kDone = 0, kFound = 1, kUsage = 2, kConfig = 3, kOutput = 4 };

// What --json is for.
inline constexpr char kForPrograms[] = "Print for programs";

// Each gives the tool one subcommand, or a few, which run when the whole command line has been
// read and leave their exit code in `exit`. What they cannot do they throw.
void addList(CLI::App &app, Exit &exit);
void addPlan(CLI::App &app, Exit &exit);
void addShow(CLI::App &app, Exit &exit);
void addDiff(CLI::App &app, Exit &exit);
void addPsk(CLI::App &app, Exit &exit);
void addCheck(CLI::App &app, Exit &exit);
void addTrace(CLI::App &app, Exit &exit);
void addPorts(CLI::App &app, Exit &exit);
void addExpect(CLI::App &app, Exit &exit);
void addExplain(CLI::App &app, Exit &exit);
void addImport(CLI::App &app, Exit &exit);
void addExport(CLI::App &app, Exit &exit);
void addApply(CLI::App &app, Exit &exit);
void addRehearse(CLI::App &app, Exit &exit);
void addServe(CLI::App &app, Exit &exit);
void addLab(CLI::App &app, Exit &exit);

// Becomes the command of "orba lab shell HOST COMMAND...", whose words and options are that
// command's own; returns for any other command line.
void runLabShell(int argc, char **argv);

}  // namespace orba::tool

#endif
