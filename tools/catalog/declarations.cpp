#include "tools/catalog/declarations.h"

#include <regex>

namespace orba::tool {

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

std::map<std::string, Declaration> declarationsIn(const std::string &text) {
  std::map<std::string, Declaration> declarations;
  static const std::regex not_code("\n#[^\n]*|extern \"C\" \\{| ORBA_PRINTF\\([^)]*\\)");
  std::string header = std::regex_replace(text, not_code, "");
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
    const std::string line = onOneLine(statement);
    statement.clear();
    if (line.find('{') == std::string::npos) declarations[nameIn(line)] = {line, comment};
  }
  return declarations;
}

}  // namespace

const std::map<std::string, Declaration> &publicDeclarations() {
  static const std::map<std::string, Declaration> all = declarationsIn(kPublicHeader);
  return all;
}

}  // namespace orba::tool
