#include "tools/catalog/entry_point.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <unordered_map>

#include "tools/text/near_names.h"

namespace orba::tool {

namespace {

std::string upper(std::string text) {
  for (char &c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

std::string EntryPoint::usage() const {
  std::string text = name;
  for (const Parameter &parameter : parameters) {
    if (parameter.isWord()) text += " " + upper(parameter.name);
  }
  return text;
}

void EntryPoint::checkWords(const std::vector<std::string> &words) const {
  size_t wanted = 0;
  for (const Parameter &parameter : parameters) wanted += parameter.isWord() ? 1 : 0;
  if (any_words ? words.size() >= wanted : words.size() == wanted) return;
  throw BadArgument("usage: " + usage() + " (" + std::to_string(wanted) +
                    (wanted == 1 ? " argument" : " arguments") + ", not " +
                    std::to_string(words.size()) + ")");
}

std::vector<Parameter> parametersFrom(const char *names) {
  std::vector<Parameter> parameters;
  std::istringstream words(names);
  for (std::string word; words >> word;) {
    bool output = word[0] == '>', both = word[0] == '=', hidden = word[0] == '*';
    bool marked = output || both || hidden;
    parameters.push_back({marked ? word.substr(1) : word, output, both, hidden});
  }
  return parameters;
}

int numberFrom(const Parameter &parameter, const std::string &word) {
  char *end = nullptr;
  errno = 0;
  long long number = strtoll(word.c_str(), &end, 0);
  if (word.empty() || *end != '\0') {
    throw BadArgument(upper(parameter.name) + ": '" + word + "' is not a number");
  }
  if (errno != 0 || number < INT_MIN || number > UINT_MAX) {
    throw BadArgument(upper(parameter.name) + ": " + word + " does not fit 32 bits");
  }
  return static_cast<int>(number);
}

tm timeFrom(const Parameter &parameter, const std::string &word) {
  tm broken{};
  const char *end = strptime(word.c_str(), "%a %H:%M", &broken);
  if (end == nullptr || *end != '\0') {
    throw BadArgument(upper(parameter.name) + ": '" + word +
                      "' is not a weekday and time such as \"Mon 22:45\"");
  }
  return broken;
}

const EntryPoint &entryPointNamed(const std::string &name) {
  static const auto by_name = [] {
    std::unordered_map<std::string_view, const EntryPoint *> all;
    for (const EntryPoint &entry : entryPoints()) all.emplace(entry.name, &entry);
    return all;
  }();
  if (const auto found = by_name.find(name); found != by_name.end()) return *found->second;
  std::vector<std::string> names;
  for (const EntryPoint &entry : entryPoints()) names.emplace_back(entry.name);
  throw BadArgument("there is no entry point '" + name + "'" +
                    didYouMean(name, names, "'orba list' shows them all"));
}

EntryPoint entry(const char *subsystem, const char *name, int (*getter)(char *, int, char **),
                 const char *names, const char *line) {
  std::vector<Parameter> parameters = parametersFrom(names);
  auto call = [getter, parameters](const std::vector<std::string> &words) {
    std::vector<std::unique_ptr<char[]>> copies;
    std::vector<char *> argv;
    for (const std::string &word : words) {
      copies.push_back(arrayOf(word));
      argv.push_back(copies.back().get());
    }
    int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    Argument<char *> output(Parameter{"out", true}, nullptr);
    CallResult result;
    result.returned = std::to_string(getter(output.get(), argc, argv.data()));
    output.collect(result);
    return result;
  };
  return {subsystem, name, parameters, line, true, call};
}

}  // namespace orba::tool
