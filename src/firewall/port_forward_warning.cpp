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

// What the web page provides: room for all the notes of a model with a name of
// some 100 characters. A note that does not fit is left out whole.
using Notes = Text<1024>;

}  // namespace

}  // namespace orba

int showPortForwardRedirectedWarning(char *output) {
  using namespace orba;
  int ports[kServiceCount];
  bool noted[kServiceCount] = {};
  for (size_t i = 0; i < kServiceCount; i++) ports[i] = setting(kServices[i].port_key).number();
  Setting model = setting("ModelName");

  Notes notes;
  for (Record record : RuleList(setting("PortForwardRules").text())) {
    RedirectingForward forward(record);
    if (faulty(forward.fault())) continue;
    for (size_t i = 0; i < kServiceCount; i++) {
      if (noted[i] || !forward.covers(ports[i])) continue;
      size_t whole = notes.length();
      notes.format(kServices[i].note, model.text(), ports[i]);
      if (!notes.fits()) notes.cutTo(whole);
      noted[i] = true;
    }
  }
  copyText(output, notes.size(), notes.text());
  return 1;
}
