// Counting and editing rule lists.
#include <cstdio>

#include "core/rule_list.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr int kEditableRecords = 8;
constexpr size_t kLongestRecord = 255;

// Eight records, their separators and the terminator.
using EditedList = Text<2048>;

int countOf(Setting list) {
  return list.empty() ? 0 : getRuleNums(list.text());
}

int writeCountOf(const char *key, char *dst) {
  sprintf(dst, "%d", countOf(setting(key)));
  return 1;
}

// Puts `list` with record `index` replaced into `edited`. False, with `edited`
// empty, when the list or the index is beyond what can be edited.
bool replaceRecord(int index, const char *list, const char *replacement, EditedList &edited) {
  if (index < 0 || index >= kEditableRecords) return false;
  if (getNums(list, ';') > kEditableRecords) return false;
  int position = 0;
  auto put = [&](const char *record, size_t length) {
    if (position++ > 0) edited.append(";");
    edited.append(record, length < kLongestRecord ? length : kLongestRecord);
  };
  size_t replacement_length = strlen(replacement);
  const char *at = list;
  for (;;) {
    size_t length = strcspn(at, ";");
    if (position == index) {
      put(replacement, replacement_length);
    } else {
      put(at, length);
    }
    if (at[length] == '\0') break;
    at += length + 1;
  }
  while (position < index) put("", 0);
  if (position == index) put(replacement, replacement_length);
  return true;
}

int storeRecord(int space, int index, const char *key, const char *record) {
  EditedList edited;
  if (!replaceRecord(index, setting(key, space).text(), record, edited)) return -1;
  return nvram_bufset(space, key, edited.text());
}

}  // namespace

}  // namespace orba

int getNums(const char *value, char sep) {
  if (value == nullptr) return 0;
  int count = 1;
  for (; *value != '\0'; value++) {
    if (*value == sep) count++;
  }
  return count;
}

int getRuleNums(const char *value) {
  return getNums(value, ';');
}

int getValueCount2(char *value) {
  return value == nullptr || *value == '\0' ? 0 : getNums(value, ';');
}

char *setNthValue(int index, char *value, char *newRecord) {
  static char result[2048];
  const char *list = value != nullptr ? value : "";
  orba::EditedList edited;
  if (!orba::replaceRecord(index, list, newRecord != nullptr ? newRecord : "", edited)) {
    edited.assign(list);
  }
  orba::copyText(result, sizeof result, edited.text());
  return result;
}

int STF(int index, const char *key, char *newRecord) {
  return STFs(orba::kMainSpace, index, key, newRecord);
}

int STFs(int space, int index, const char *key, char *newRecord) {
  return orba::storeRecord(space, index, key, newRecord != nullptr ? newRecord : "");
}

int deleteNthValueMulti(int *indexes, int count, char *value, char sep) {
  if (value == nullptr) return 0;
  char *kept = value;
  const char *at = value;
  int next = 0;
  bool first_deleted = false;
  for (int record = 0; next < count; record++) {
    // A record stands here together with the separator in front of it.
    const char *text = record == 0 ? at : at + 1;
    const char *end = text;
    while (*end != '\0' && *end != sep) end++;

    while (next < count && indexes[next] < record) next++;
    if (next < count && indexes[next] == record) {
      next++;
      if (record == 0) first_deleted = true;
    } else {
      memmove(kept, at, static_cast<size_t>(end - at));
      kept += end - at;
    }
    at = end;
    if (*at == '\0') break;
  }
  memmove(kept, at, strlen(at) + 1);
  // The separator left in front is looked for as ';' whatever `sep` is; lists
  // with another separator keep it.
  if (first_deleted && *value == ';') memmove(value, value + 1, strlen(value));
  return 0;
}

int getIPPortRuleNums(char *dst) {
  return orba::writeCountOf("IPPortFilterRules", dst);
}

int getHostKeywordNums(char *dst) {
  return orba::writeCountOf("websHostFilters", dst);
}

int getPortForwardRuleNums(char *dst) {
  return orba::writeCountOf("PortForwardRules", dst);
}

int getAclRuleNums(void) {
  return orba::countOf(orba::setting("aclRules"));
}
