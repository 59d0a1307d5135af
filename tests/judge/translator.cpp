#include "translator.h"

#include <algorithm>

namespace judge {

void Translator::learn(const std::vector<std::string> &lines) {
  known_.clear();
  std::vector<std::string> fresh;
  std::string input;
  for (const std::string &line : lines) {
    if (!known_.try_emplace(line).second) continue;
    // Of the others none concerns packets.
    static const char *const kPrograms[] = {"iptables ", "ebtables ", "ip ",   "route ",
                                            "brctl ",    "ifconfig ", "nat.sh"};
    if (std::none_of(std::begin(kPrograms), std::end(kPrograms),
                     [&](const char *program) { return line.rfind(program, 0) == 0; })) {
      continue;
    }
    fresh.push_back(line);
    input += line + "\n";
  }
  if (fresh.empty()) return;
  const Ran ran = run({"bash", std::string(JUDGE_FOLDER) + "/translate.bash", tools_}, input);
  if (ran.status != 0) throw std::runtime_error("translate.bash: " + ran.output);
  for (const std::string &answer : split(ran.output, '\n')) {
    if (answer.empty()) continue;
    Words words = split(answer, '\t');
    const size_t number = std::stoul(words.at(0));
    words.erase(words.begin());
    known_[fresh.at(number)].push_back(words);
  }
}

}  // namespace judge
