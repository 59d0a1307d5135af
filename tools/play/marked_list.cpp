#include "tools/play/marked_list.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orba_util.h"
#include "tools/catalog/settings.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// A stretch of a record, and what is to stand in its place.
struct Mark {
  size_t at = 0, length = 0;
  std::string value;
};

bool isAlphanumeric(char c) {
  return isalnum(static_cast<unsigned char>(c)) != 0;
}

bool isPort(const Form *form, int field) {
  const Field *its = form != nullptr ? form->field(field) : nullptr;
  return its != nullptr && its->name.ends_with(" port");
}

// Of a list of names, URLs or their beginnings.
Mark markForName(const std::string &record, size_t number) {
  size_t scheme = record.find("://"), name = scheme == std::string::npos ? 0 : scheme + 3;
  size_t end = name;
  while (end < record.size() && isAlphanumeric(record[end])) end++;
  return {name, end - name, "r" + std::to_string(number)};
}

// An address or a MAC address is as low as can be, since it may begin a range, and a port is
// the last one given and high, since it may end one.
Mark markFor(const std::string &record, size_t number, const Form *form) {
  const unsigned high = static_cast<unsigned>(number >> 8 & 0xFF), low = number & 0xFF;
  Mark mac, port;
  char value[24];
  size_t at = 0;
  int field = 0;
  for (const std::string &text : splitAt(record, ',')) {
    field++;
    int length = 0;
    if (sscanf(text.c_str(), "%*3u.%*3u.%*3u.%*3u%n", &length) == 0 && length != 0) {
      snprintf(value, sizeof value, "1.%u.%u.1", high, low);
      return {at, static_cast<size_t>(length), value};
    }
    if (isMacValid(text.c_str()) != 0 && mac.length == 0) {
      snprintf(value, sizeof value, "00:00:00:00:%02X:%02X", high, low);
      mac = {at, text.size(), value};
    }
    if (isPort(form, field) && atoi(text.c_str()) != 0) {
      port = {at, text.size(), std::to_string(40000 + number % 25000)};
    }
    at += text.size() + 1;
  }
  if (mac.length != 0) return mac;
  if (port.length != 0) return port;
  return field == 1 ? markForName(record, number) : Mark();
}

}  // namespace

std::string_view stretchAt(std::string_view text, size_t at, const char *joining) {
  size_t end = at;
  while (end < text.size() && text[end] != '\0' &&
         (isAlphanumeric(text[end]) || strchr(joining, text[end]) != nullptr)) {
    end++;
  }
  return text.substr(at, end == at ? 1 : end - at);
}

const Form *formOf(const nvram::Setting &setting) {
  const SettingDescription *description = descriptionOf(setting.key, setting.space);
  return description != nullptr ? &description->form : nullptr;
}

bool isList(const nvram::Setting &setting) {
  const Form *form = formOf(setting);
  const bool list = form != nullptr && form->kind == Form::kRecords;
  return !setting.value.empty() && (list || setting.value.find(';') != std::string::npos);
}

MarkedList::MarkedList(const std::vector<std::string> &records, const Form *form) {
  for (size_t i = 0; i < records.size(); i++) {
    std::string record = records[i];
    Mark mark = markFor(record, i + 1, form);
    Marked marked = {record.substr(mark.at, mark.length), i + 1};
    if (mark.length != 0 && marks_.emplace(mark.value, std::move(marked)).second) {
      record.replace(mark.at, mark.length, mark.value);
    }
    text_ += (i > 0 ? ";" : "") + record;
  }
}

std::vector<size_t> MarkedList::carriedBy(std::string_view marked, std::string_view command) const {
  std::vector<size_t> records;
  if (!differInMarks(marked, command, ".:", records)) records.clear();
  return records;
}

// Stretch by stretch; of two that differ and are no mark and its value, what they are joined of.
bool MarkedList::differInMarks(std::string_view marked, std::string_view command,
                               const char *joining, std::vector<size_t> &records) const {
  size_t i = 0, j = 0;
  while (i < marked.size() && j < command.size()) {
    std::string_view is = stretchAt(marked, i, joining), was = stretchAt(command, j, joining);
    i += is.size(), j += was.size();
    if (is == was) continue;
    auto mark = marks_.find(is);
    if (mark != marks_.end() && mark->second.value == was) {
      records.push_back(mark->second.record);
    } else if (*joining == '\0' || !differInMarks(is, was, *joining == '.' ? ":" : "", records)) {
      return false;
    }
  }
  return i == marked.size() && j == command.size();
}

}  // namespace orba::tool
