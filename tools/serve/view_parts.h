// What several views are put together from.
#ifndef ORBA_TOOLS_SERVE_VIEW_PARTS_H
#define ORBA_TOOLS_SERVE_VIEW_PARTS_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/catalog/finding.h"
#include "tools/play/recording.h"
#include "tools/serve/views.h"

namespace orba::tool {

// A getter with its words. "@getLanIfName" is what that one answered before.
struct Question {
  const char *getter;
  std::vector<std::string> words = {};
};
// The answers by what was asked: "getIfIp br0".
Json answersTo(const std::vector<Question> &questions);

// What every answer begins with: the version of the settings, how many changes are not kept.
Json stateOf(const Draft &draft);

bool isUtf8(const std::string &text);
// The text, or for bytes that are no UTF-8 what can be read of them; null for no setting.
Json valueAsJson(const Draft::Value &value);

std::vector<Finding> findingsIn(const std::vector<nvram::Setting> &settings);

Recording runWith(const std::vector<nvram::Setting> &settings, const char *entry,
                  const DeskDevice &desk);

// The device with the settings that are kept.
struct KeptDevice {
  KeptDevice(const DeskDevice &desk, const Draft &draft);
  sim::Device device;
};

}  // namespace orba::tool

#endif
