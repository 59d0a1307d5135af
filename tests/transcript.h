// Whole situations as texts: settings in, commands out.
#ifndef ORBA_TESTS_TRANSCRIPT_H
#define ORBA_TESTS_TRANSCRIPT_H

#include <fstream>
#include <sstream>
#include <string>

#include "sim/device.h"

// "KEY=VALUE KEY=VALUE ...", over as many lines as it takes.
inline sim::Settings settingsOf(const std::string &text) {
  sim::Settings settings;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    size_t equals = word.find('=');
    settings.emplace_back(word.substr(0, equals), word.substr(equals + 1));
  }
  return settings;
}

// The commands in order, each begun on a line of its own:
//   EXPECT_EQ(transcript(device), R"(
// first command
// second command)");
inline std::string transcript(const sim::Device &device) {
  std::string lines;
  for (const std::string &command : device.commands()) lines += "\n" + command;
  return lines;
}

// A section of a text under tests/, each line begun on a line of its own, to
// compare with a transcript:
//   == NAME
//   first command
//
//   == end
inline std::string section(const std::string &path, const std::string &name) {
  std::ifstream file(ORBA_EXAMPLES "/../tests/" + path);
  std::string text(std::istreambuf_iterator<char>(file), {});
  size_t begin = text.find('\n', text.find("\n== " + name + "\n") + 1);
  return text.substr(begin, text.find("\n\n== ", begin) - begin);
}

#endif
