#include "tools/reference/header.h"

#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace orba::reference {

namespace {

std::string onOneLine(const std::string &text) {
  static const std::regex blanks("\\s+");
  std::string line = std::regex_replace(text, blanks, " ");
  size_t first = line.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(' ') - first + 1);
}

// Without the marks of a comment.
std::string wordsOfComment(const std::string &comment) {
  static const std::regex margin("\n *\\* ?");
  return onOneLine(std::regex_replace(comment, margin, "\n"));
}

// The name that a declaration declares: in front of the first parenthesis, or
// the last one of a datum.
std::string nameIn(const std::string &declaration) {
  static const std::regex function("(\\w+)\\(");
  static const std::regex datum("(\\w+)(\\[[^\\]]*\\])*;$");
  std::smatch found;
  if (std::regex_search(declaration, found, function)) return found[1];
  return std::regex_search(declaration, found, datum) ? found[1].str() : "";
}

}  // namespace

std::string readFile(const std::string &path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

std::map<std::string, Declaration> readHeader(const std::string &path) {
  std::map<std::string, Declaration> declarations;
  static const std::regex not_code("\n#[^\n]*|extern \"C\" \\{| ORBA_PRINTF\\([^)]*\\)");
  std::string header = std::regex_replace(readFile(path), not_code, "");
  std::string statement, comment;
  int depth = 0;
  for (size_t at = 0; at < header.size(); at++) {
    if (header.compare(at, 2, "/*") == 0) {
      size_t end = header.find("*/", at);
      if (depth == 0) comment = wordsOfComment(header.substr(at + 2, end - at - 2));
      at = end + 1;
      continue;
    }
    // A remark, which tells of no declaration.
    if (header.compare(at, 2, "//") == 0) at = header.find('\n', at);
    if (at == std::string::npos) break;
    statement += header[at];
    if (header[at] == '{') depth++;
    if (header[at] == '}') depth--;
    if (header[at] != ';' || depth != 0) continue;
    std::string text = onOneLine(statement);
    statement.clear();
    if (text.find('{') == std::string::npos) declarations[nameIn(text)] = {text, comment};
  }
  return declarations;
}

std::vector<Symbol> readSymbols(const std::string &path) {
  std::vector<Symbol> symbols;
  std::istringstream lines(readFile(path));
  std::string subsystem;
  for (std::string line; std::getline(lines, line);) {
    // A subsystem is one word; the comments about the file are longer.
    if (line.compare(0, 2, "# ") == 0 && line.find(' ', 2) == std::string::npos) {
      subsystem = line.substr(2);
    } else if (!line.empty() && line[0] != '#') {
      bool data = line[0] == '=';
      symbols.push_back({subsystem, data ? line.substr(1) : line, data});
    }
  }
  return symbols;
}

}  // namespace orba::reference
