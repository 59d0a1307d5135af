// Which of the router's own services a forwarded port takes away.
#include "core/setting.h"
#include "firewall/port_forward_list.h"
#include "orba_util.h"

namespace orba {

namespace {

struct Service {
  const char *port_key;
  const char *name;
  int moves_to;  // as the note has it; nothing here moves it
};

constexpr Service kServices[] = {
    {"RMWWWServerPort", "HTTP", 8080},      {"RMHTTPSServerPort", "HTTPS", 44344},
    {"RMTELNETServerPort", "TELNET", 2323}, {"RMFTPServerPort", "FTP", 2121},
    {"snmp_serverPort", "SNMP", 16116},
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
      notes.format(
          "<div id='noteBlock'><span>Note : %s %s service is redirected from %d to %d</span></div>",
          model.text(), kServices[i].name, ports[i], kServices[i].moves_to);
      if (!notes.fits()) notes.cutTo(whole);
      noted[i] = true;
    }
  }
  copyText(output, notes.size(), notes.text());
  return 1;
}
