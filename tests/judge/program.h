// Programs that are run, and what goes wrong with them.
#ifndef ORBA_TESTS_JUDGE_PROGRAM_H
#define ORBA_TESTS_JUDGE_PROGRAM_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace judge {

// The machine has not what it takes.
struct Lacking : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;  // of a command
// What lines for a shell run; the first word of a command without a form is "refused".
using Commands = std::map<std::string, std::vector<Words>>;

struct Ran {
  int status;
  std::string output;  // both streams
};

std::string failure(const std::string &what);  // with the reason of the call that failed last
Ran run(const Words &words, const std::string &input = "");
void mustRun(const Words &words, const std::string &input = "");
void writeFile(const std::string &path, const std::string &content);
std::vector<std::string> split(const std::string &text, char separator);

}  // namespace judge

#endif
