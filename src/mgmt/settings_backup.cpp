// A shadow copy of the wireless settings that a wizard may overwrite.
#include "core/setting.h"
#include "orba_util.h"

const char *const paramlist2860[][2] = {
    {"OperatingBandCli", "OperatingBandCliBAK"},
    {"OperatingBandRepeater", "OperatingBandRepeaterBAK"},
    {"WirelessOPMode", "WirelessOPModeBAK"},
    {"ApCliAuthMode", "ApCliAuthModeBAK"},
    {"ApCliEncrypType", "ApCliEncrypTypeBAK"},
    {"ApCliSsid", "ApCliSsidBAK"},
    {"ApCliWepDefaultkey", "ApCliWepDefaultkeyBAK"},
    {"ApCliWPAPSK", "ApCliWPAPSKBAK"},
    {"AuthMode", "AuthModeBAK"},
    {"EncrypType", "EncrypTypeBAK"},
    {"SSID1", "SSID1BAK"},
    {"WlanEnabled", "WlanEnabledBAK"},
    {"", ""},
};

const char *const paramlistRtdev[][2] = {
    {"AuthModeSTA", "AuthModeSTABAK"},
    {"AuthSTA", "AuthSTABAK"},
    {"PSKSTA", "PSKSTABAK"},
    {"SSID1", "SSID1BAK"},
    {"SSIDSTA", "SSIDSTABAK"},
    {"WPAPSK1", "WPAPSK1BAK"},
    {"AuthMode", "AuthModeBAK"},
    {"EncrypType", "EncrypTypeBAK"},
    {"", ""},
};

namespace orba {

namespace {

using KeyPair = const char *const[2];

struct BackedUp {
  int space;
  const KeyPair *pairs;
  int count;
};

// The last pair of each table is listed for its readers but never copied or
// cleared: WlanEnabled and the module's EncrypType stay as they are.
constexpr BackedUp kBackedUp[] = {
    {kMainSpace, paramlist2860, 11},
    {kModuleSpace, paramlistRtdev, 7},
};

void backUp(int space, const KeyPair &pair) {
  nvram_bufset(space, pair[1], setting(pair[0], space).text());
}

void clear(int space, const KeyPair &pair) {
  nvram_bufset(space, pair[1], "");
}

// A setting that was never backed up keeps its value.
void recover(int space, const KeyPair &pair) {
  Setting backup = setting(pair[1], space);
  if (!backup.missing()) nvram_bufset(space, pair[0], backup.text());
  clear(space, pair);
}

void forEachPair(void (*act)(int space, const KeyPair &pair)) {
  for (const BackedUp &table : kBackedUp) {
    for (int i = 0; i < table.count; i++) act(table.space, table.pairs[i]);
  }
}

}  // namespace

}  // namespace orba

int backupRecoverSettings(int mode) {
  switch (mode) {
    case 2:
      orba::forEachPair(orba::backUp);
      return 0;
    case 1:
      orba::forEachPair(orba::recover);
      nvram_commit(orba::kMainSpace);
      nvram_commit(orba::kModuleSpace);
      return 0;
    case 0:
      orba::forEachPair(orba::clear);
      return 0;
    default:
      return 2;
  }
}
