// What lines for a shell run, by lab/tools.
#ifndef ORBA_TESTS_JUDGE_TRANSLATOR_H
#define ORBA_TESTS_JUDGE_TRANSLATOR_H

#include <string>
#include <utility>
#include <vector>

#include "program.h"

namespace judge {

class Translator {
 public:
  explicit Translator(std::string tools) : tools_(std::move(tools)) {}
  // Forgets what it learnt before.
  void learn(const std::vector<std::string> &lines);
  const Commands &commands() const { return known_; }
  const std::string &tools() const { return tools_; }

 private:
  std::string tools_;
  Commands known_;
};

}  // namespace judge

#endif
