#include "tools/serve/view_parts.h"

#include "tools/catalog/entry_point.h"
#include "tools/device/config.h"
#include "tools/show/check.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// What an answer is called: "getIfIp br0".
std::string nameOf(const char *getter, const std::vector<std::string> &words) {
  std::string name = getter;
  for (const std::string &word : words) name += " " + word;
  return name;
}

}  // namespace

Json answersTo(const std::vector<Question> &questions) {
  Json answers = Json::object();
  for (const Question &question : questions) {
    std::vector<std::string> words = question.words;
    for (std::string &word : words) {
      if (word[0] == '@') word = answers[word.substr(1)].get<std::string>();
    }
    CallResult result = entryPointNamed(question.getter).call(words);
    const std::string &text = result.outputs.empty() ? result.returned : result.outputs.front();
    answers[nameOf(question.getter, question.words)] = text;
  }
  return answers;
}

Json stateOf(const Draft &draft) {
  return {{"version", draft.version()}, {"changes", draft.changes().size()}};
}

bool isUtf8(const std::string &text) {
  try {
    Json(text).dump();
    return true;
  } catch (const Json::type_error &) {
    return false;
  }
}

Json valueAsJson(const Draft::Value &value) {
  if (!value) return {};
  return isUtf8(*value) ? *value : visible(*value);
}

std::vector<Finding> findingsIn(const std::vector<nvram::Setting> &settings) {
  sim::Device device;
  putSettings(settings, device);
  return checkSettings(device);
}

Recording runWith(const std::vector<nvram::Setting> &settings, const char *entry,
                  const DeskDevice &desk) {
  return record(settings, entry, {}, [&](sim::Device &device) { desk.prepare(device); });
}

KeptDevice::KeptDevice(const DeskDevice &desk, const Draft &draft) {
  putSettings(draft.kept(), device);
  desk.prepare(device);
}

}  // namespace orba::tool
