// Starting the QoS program, and the checks of the QoS pages before they save.
#include "core/file.h"
#include "core/rule_list.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kQosProgram[] = "/bin/orba_qos";
constexpr size_t kClassRecordSize = 1024;
// 16 names of 32 characters and what stands between them.
constexpr size_t kNamesSize = 16 * 33;

// The places, from 0, of the fields that make a class rule what it is: "match" in the
// table of settings. The program's own first field, the name and all behind them do not.
constexpr int kNumbers[] = {2,  3,  6,  7,  8,  9,  12, 15, 16, 17,
                            18, 21, 23, 24, 25, 28, 29, 30, 31, 32};
constexpr int kShortTexts[] = {4, 5, 10, 11, 13, 14, 19, 20};
constexpr int kLongTexts[] = {22, 26, 27};
constexpr int kName = 1;
constexpr int kQueue = 41;

Record recordOf(const char *text) {
  return Record({text, strlen(text)}, 0);
}

template <size_t N>
bool sameText(const Record &a, const Record &b, int field) {
  return Field<N>(a, field).is(Field<N>(b, field).text());
}

bool sameName(const char *a, const char *b) {
  return sameText<32>(recordOf(a), recordOf(b), kName);
}

}  // namespace

}  // namespace orba

using namespace orba;

int orbaQoSInit(void) {
  // VLAN classes need the same program.
  if (setting("TuQoSEnable").on() || isAnyVLANRuleExist() == 1) return orbaQoSRestart();
  return 0;
}

int orbaQoSRestart(void) {
  return fileExists(kQosProgram) ? doSystem("/bin/orba_qos") : 0;
}

int isAnyVLANRuleExist(void) {
  for (Record record : RuleList(setting("TuVLANClass").text())) {
    if (Field<32>(record, 0).number() != 0) return 1;
  }
  return 0;
}

int isSameClassRule(const char *a, const char *b) {
  Record first = recordOf(a), second = recordOf(b);
  for (int field : kNumbers) {
    if (Field<256>(first, field).number() != Field<256>(second, field).number()) return 0;
  }
  for (int field : kShortTexts) {
    if (!sameText<32>(first, second, field)) return 0;
  }
  for (int field : kLongTexts) {
    if (!sameText<128>(first, second, field)) return 0;
  }
  return 1;
}

int isSameQueueName(const char *a, const char *b) {
  return sameName(a, b) ? 1 : 0;
}

int isSameClassName(const char *a, const char *b) {
  return sameName(a, b) ? 1 : 0;
}

int isQueueBeReference(int queue) {
  for (Record record : RuleList(setting("TuQoSClass").text(), kClassRecordSize)) {
    Field<32> used(record, kQueue);
    if (!used.missing() && used.number() == queue) return 1;
  }
  return 0;
}

int orbaQoSSSID(char *dst) {
  Setting count = setting("BssidNum");
  int ssids = count.missing() ? 1 : count.number();
  Text<kNamesSize> names;
  for (int i = 1; i <= ssids && names.fits(); i++) {
    if (i > 1) names.append(";");
    names.append(setting(racat("SSID", i)).text());
  }
  copyText(dst, names.size(), names.text());
  return 0;
}

int orbaQoSLANIntf(char *dst) {
  copyText(dst, sizeof "LAN", "LAN");
  return 0;
}
