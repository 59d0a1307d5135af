#include "wireless/wps_client_network.h"

#include <sys/stat.h>

#include <cstring>

#include "core/command.h"
#include "core/file.h"
#include "core/setting.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kInfoFile[] = "/tmp/apcli.info";
constexpr mode_t kForUsAlone = 0600;

constexpr char kGatherInfo[] =
    "iwpriv apcli0 stat | grep SSID > /tmp/apcli.info\n"
    "iwpriv apcli0 stat | grep AuthType >> /tmp/apcli.info\n"
    "iwpriv apcli0 stat | grep EncrypType >> /tmp/apcli.info\n"
    "iwpriv apcli0 stat | grep \"Key \" >> /tmp/apcli.info\n";

bool infoIsEmpty() {
  struct stat status;
  return stat(kInfoFile, &status) == 0 && status.st_size == 0;
}

// Behind the runner's redirection the shell makes the file and loses the text;
// the second try has none. A pipe would need the heap, and the monitor runs in a
// signal handler.
void gatherInfo() {
  runAll(kGatherInfo);
  if (infoIsEmpty()) runAllDirectly(kGatherInfo);
}

constexpr size_t kLineSize = 128;

// The lines of a file, each cut to 127 characters, the rest of a longer one
// being the next. Reads without the heap: the monitor runs in a signal handler.
class Lines {
 public:
  explicit Lines(int fd) : fd_(fd) {}

  // The next line without its newline; false at the end.
  bool next(char (&line)[kLineSize]) {
    size_t length = 0;
    bool any = false;
    char character;
    while (length < kLineSize - 1 && get(character)) {
      any = true;
      if (character == '\n') break;
      line[length++] = character;
    }
    line[length] = '\0';
    return any;
  }

 private:
  bool get(char &character) {
    if (at_ == end_) {
      ssize_t length = read(fd_, block_, sizeof block_);
      if (length <= 0) return false;
      at_ = block_;
      end_ = block_ + length;
    }
    character = *at_++;
    return true;
  }

  int fd_;
  char block_[256];
  const char *at_ = block_;
  const char *end_ = block_;
};

void store(const char *key, const char *value) {
  nvram_bufset(kMainSpace, key, value);
}

// The repeater announces four networks with the same name and key.
void storeForEach(const char *prefix, const char *value) {
  for (int network = 1; network <= 4; network++) {
    Text<16> key(prefix);
    store(key.format("%d", network).text(), value);
  }
}

// One list with a record for each of the four.
void storeFourTimes(const char *key, const char *value) {
  Text<4 * kLineSize> list;
  store(key, list.format("%s;%s;%s;%s", value, value, value, value).text());
}

class ClientNetwork {
 public:
  explicit ClientNetwork(bool repeater) : repeater_(repeater) {}

  // "      SSID = name": the value stands two characters behind the first '='.
  // A line without one says nothing.
  void take(const char *line) {
    const char *equals = strchr(line, '=');
    if (equals == nullptr) return;
    const char *value = equals[1] != '\0' ? equals + 2 : equals + 1;
    for (const Item &item : kItems) {
      if (strstr(line, item.mark) != nullptr) return (this->*item.take)(line, value);
    }
  }

 private:
  struct Item {
    const char *mark;
    void (ClientNetwork::*take)(const char *line, const char *value);
  };
  static const Item kItems[4];

  void takeSsid(const char *, const char *value) {
    debug("SSID: %s\n", value);
    store("ApCliSsid", value);
    if (repeater_) storeForEach("SSID", value);
  }

  void takeAuthType(const char *line, const char *value) {
    debug("AuthType: %s\n", value);
    store("ApCliAuthMode", value);
    if (repeater_) storeFourTimes("AuthMode", value);
    auth_column_ = static_cast<size_t>(value - line);
  }

  // What stands in the column where the AuthType line had its value decides,
  // which is this line's own value when the driver aligns its '='. The client's
  // setting takes the text of that column, the repeater's list the value.
  void takeEncrypType(const char *line, const char *value) {
    debug("EncrypType: %s\n", value);
    const char *in_column = auth_column_ == kUnknown ? value : fromColumn(line, auth_column_);
    bool open = same(in_column, "OPEN");
    store("ApCliEncrypType", open ? "NONE" : in_column);
    if (repeater_) storeFourTimes("EncrypType", open ? "NONE" : value);
  }

  void takeKey(const char *, const char *value) {
    debug("Key: %s\n", value);
    store("ApCliWPAPSK", value);
    if (repeater_) storeForEach("WPAPSK", value);
  }

  static const char *fromColumn(const char *line, size_t column) {
    size_t length = strlen(line);
    return line + (column < length ? column : length);
  }

  static constexpr size_t kUnknown = SIZE_MAX;

  bool repeater_;
  size_t auth_column_ = kUnknown;
};

// In the order in which a line is tried.
const ClientNetwork::Item ClientNetwork::kItems[4] = {
    {"SSID", &ClientNetwork::takeSsid},
    {"AuthType", &ClientNetwork::takeAuthType},
    {"EncrypType", &ClientNetwork::takeEncrypType},
    {"Key", &ClientNetwork::takeKey},
};

}  // namespace

void storeClientNetwork(bool repeater) {
  if (!claimFile(kInfoFile, kForUsAlone)) return;
  gatherInfo();
  Descriptor file(openOurs(kInfoFile));
  unlink(kInfoFile);  // nobody else reads it, and it holds a key
  if (!file) return;
  ClientNetwork network(repeater);
  Lines lines(file.get());
  char line[kLineSize];
  while (lines.next(line)) network.take(line);
  store("velaSetup", "1");
  nvram_commit(kMainSpace);
}

}  // namespace orba
