// Which of the router's own services a forwarded port takes away.
#include "core/setting.h"
#include "firewall/port_forward_list.h"
#include "orba_util.h"

namespace orba {

namespace {

// The note of a service names the port it moves to; nothing here moves it.
struct Service {
  const char *port_key;
  const char *note;
};

constexpr Service kServices[] = {
    {"RMWWWServerPort",
     "<div id='noteBlock'><span>Note : %s HTTP service is redirected from %d to 8080</span></div>"},
    {"RMHTTPSServerPort",
     "<div id='noteBlock'><span>Note : %s HTTPS service is redirected from %d to 44344</span></div>"},
    {"RMTELNETServerPort",
     "<div id='noteBlock'><span>Note : %s TELNET service is redirected from %d to 2323</span></div>"},
    {"RMFTPServerPort",
     "<div id='noteBlock'><span>Note : %s FTP service is redirected from %d to 2121</span></div>"},
    {"snmp_serverPort",
     "<div id='noteBlock'><span>Note : %s SNMP service is redirected from %d to 16116</span></div>"},
};
constexpr size_t kServiceCount = sizeof kServices / sizeof *kServices;

// What the web page provides: room for all the notes.
constexpr size_t kNotesSize = 1024;
constexpr size_t kModelNameSize = 64;
constexpr size_t kLongestNote = 96;
constexpr size_t kLongestNumber = 11;
static_assert(kServiceCount * (kLongestNote + kModelNameSize + kLongestNumber) < kNotesSize);

}  // namespace

}  // namespace orba

int showPortForwardRedirectedWarning(char *output) {
  using namespace orba;
  int ports[kServiceCount];
  bool noted[kServiceCount] = {};
  for (size_t i = 0; i < kServiceCount; i++) ports[i] = setting(kServices[i].port_key).number();
  Text<kModelNameSize> model(setting("ModelName").text());

  Text<kNotesSize> notes;
  for (Record record : RuleList(setting("PortForwardRules").text())) {
    RedirectingForward forward(record);
    if (faulty(forward.fault())) continue;
    for (size_t i = 0; i < kServiceCount; i++) {
      if (noted[i] || !forward.covers(ports[i])) continue;
      notes.format(kServices[i].note, model.text(), ports[i]);
      noted[i] = true;
    }
  }
  copyText(output, kNotesSize, notes.text());
  return 1;
}
