#include "sim/line_splitter.h"

#include <cctype>
#include <cstring>

namespace sim {

namespace {

// Reads one character or quoted stretch at `at`, quotes included.
std::string takeQuoted(const std::string &line, size_t &at) {
  size_t start = at;
  char quote = line[at];
  if (quote == '\\') {
    at += at + 1 < line.size() ? 2 : 1;
  } else if (quote == '\'' || quote == '"') {
    for (at++; at < line.size() && line[at] != quote; at++) {
      if (quote == '"' && line[at] == '\\') at++;
    }
    at = at < line.size() ? at + 1 : line.size();
  } else {
    at++;
  }
  return line.substr(start, at - start);
}

// Appends what stands at `at` to the text: all characters up to the next of
// `special`, or one of those, quoted stretches whole.
void take(const std::string &line, size_t &at, const char *special, std::string &text) {
  size_t plain = strcspn(line.c_str() + at, special);
  if (plain == 0) {
    text += takeQuoted(line, at);
  } else {
    text.append(line, at, plain);
    at += plain;
  }
}

std::string takeWord(const std::string &line, size_t &at) {
  while (at < line.size() && line[at] == ' ') at++;
  std::string word;
  while (at < line.size() && strchr(" ;&|<>\n", line[at]) == nullptr) word += takeQuoted(line, at);
  return word;
}

std::string trimmed(const std::string &text) {
  size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::vector<ShellCommand> splitLine(const std::string &line) {
  std::vector<ShellCommand> commands(1);
  size_t at = 0, start = 0;
  while (at < line.size()) {
    char c = line[at];
    if (c == '>') {
      ShellCommand &command = commands.back();
      bool error_output = false;
      bool stands_alone = command.text.size() < 2 || command.text[command.text.size() - 2] == ' ';
      if (!command.text.empty() && stands_alone && strchr("12", command.text.back()) != nullptr) {
        error_output = command.text.back() == '2';
        command.text.pop_back();
      }
      at++;
      bool append = at < line.size() && line[at] == '>';
      if (append) at++;
      if (at < line.size() && line[at] == '&') {
        at += 2;  // ">&1"
        continue;
      }
      std::string path = takeWord(line, at);
      if (!error_output) command.redirections.push_back({path, append});
    } else if (c == ';' || c == '\n' || c == '&') {
      commands.back().whole = trimmed(line.substr(start, at - start));
      commands.back().background = c == '&';
      start = ++at;
      commands.emplace_back();
    } else {
      take(line, at, ">;&\n\\'\"", commands.back().text);
    }
  }
  commands.back().whole = trimmed(line.substr(start));
  std::vector<ShellCommand> kept;
  for (ShellCommand &command : commands) {
    command.text = trimmed(command.text);
    if (!command.text.empty()) kept.push_back(std::move(command));
  }
  return kept;
}

std::optional<std::vector<std::string>> wordsOf(const std::string &command) {
  std::vector<std::string> words;
  size_t at = 0;
  while (true) {
    while (at < command.size() && command[at] == ' ') at++;
    if (at >= command.size()) return words;
    std::string word;
    while (at < command.size() && command[at] != ' ') {
      if (strchr("|<>`$(){}*?~#\n", command[at]) != nullptr) return {};
      std::string piece = takeQuoted(command, at);
      if (piece[0] == '\'') {
        word += piece.substr(1, piece.size() < 2 ? 0 : piece.size() - 2);
      } else if (piece[0] == '"') {
        for (size_t i = 1; i + 1 < piece.size(); i++) {
          if (piece[i] == '$' || piece[i] == '`') return {};
          if (piece[i] == '\\' && strchr("\"\\$`", piece[i + 1]) != nullptr) i++;
          word += piece[i];
        }
      } else {
        word += piece[0] == '\\' && piece.size() > 1 ? piece[1] : piece[0];
      }
    }
    words.push_back(word);
  }
}

std::string quoted(const std::string &word) {
  if (!word.empty() && word.find_first_of(" \t\n'\"\\$`;&|<>(){}*?~#") == std::string::npos) {
    return word;
  }
  std::string text = "'";
  for (char c : word) {
    if (c == '\'') {
      text += "'\\''";
    } else {
      text += c;
    }
  }
  return text + "'";
}

}  // namespace sim
