#include "tools/text/svg.h"
#include "tools/text/lines.h"

namespace orba::tool {

std::string xmlText(const std::string &text) {
  std::string xml;
  for (const std::string &character : charactersOf(text)) {
    if (character == "&") {
      xml += "&amp;";
    } else if (character == "<") {
      xml += "&lt;";
    } else if (character == ">") {
      xml += "&gt;";
    } else if (character == "\"") {
      xml += "&quot;";
    } else if (character == "'") {
      xml += "&#39;";
    } else {
      xml += character;
    }
  }
  return xml;
}

std::vector<std::string> wrapped(const std::string &text, size_t width, size_t most) {
  std::vector<std::string> rest = charactersOf(text), lines;
  auto at = [&](size_t i) { return i < rest.size() ? rest[i] : ""; };
  do {
    size_t end = rest.size(), blank = 0, option = 0;
    for (size_t i = 1; i <= width && end > width; i++) {
      if (at(i) != " ") continue;
      blank = i;
      if (at(i + 1) == "-" || at(i + 1) == "!") option = i;
    }
    // A short line is worth it when an option stays with its value.
    if (end > width) end = option >= width / 3 ? option : blank != 0 ? blank : width;
    lines.emplace_back();
    for (size_t i = 0; i < end; i++) lines.back() += rest[i];
    if (at(end) == " ") end++;
    rest.erase(rest.begin(), rest.begin() + static_cast<long>(end));
  } while (!rest.empty() && lines.size() < most);
  if (!rest.empty()) lines.back() += "…";
  return lines;
}

}  // namespace orba::tool
