#include "tools/device/usual_device.h"

#include <map>
#include <stdexcept>

#include "sim/leds.h"
#include "sim/radio.h"
#include "sim/root.h"
#include "sim/switch.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr UsualFile kFiles[] = {
    {Since::kBoot, "/etc/TZ", "CET-1CEST,M3.5.0/2,M10.5.0/3\n"},
    {Since::kBoot, "/etc_ro/l7-protocols/ftp.pat", "# FTP - File Transfer Protocol\n"},
    {Since::kBoot, "/proc/meminfo", "MemTotal: 60000 kB\nMemFree: 15000 kB\nBuffers: 2000 kB\n"},
    {Since::kBoot, "/proc/net/arp",
     "IP address       HW type     Flags       HW address            Mask     Device\n"
     "203.0.113.1      0x1         0x2         02:00:00:00:00:09     *        eth2.2\n"
     "192.168.1.10     0x1         0x2         00:0c:43:28:60:2a     *        br0\n"},
    {Since::kBoot, "/proc/net/dev",
     "Inter-|   Receive                                                |  Transmit\n"
     " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs "
     "drop fifo colls carrier compressed\n"
     "   br0: 8812345 72110 0 0 0 0 0 0 91234567 81022 0 0 0 0 0 0\n"
     "eth2.2:91876543 83011 0 0 0 0 0 0 9012345 74123 0 0 0 0 0 0\n"},
    {Since::kBoot, "/proc/net/route",
     "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
     "br0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
     "eth2.2\t007100CB\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
     "eth2.2\t00000000\t017100CB\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"},
    {Since::kBoot, "/var/wan1.info", "203.0.113.1:203.0.113.2"},
    {Since::kBoot, "/var/wan2.info", "203.0.113.1:203.0.113.3"},
    {Since::kBoot, "/var/wan3.info", "203.0.113.1:203.0.113.4"},
    {Since::kBoot, "/var/wan4.info", "203.0.113.1:203.0.113.5"},

    {Since::kServices, "/bin/orba_qos", ""},
    {Since::kServices, "/tmp/do_vela", "0\n"},
    {Since::kServices, "/tmp/wpsStatus", "1\n"},
    {Since::kServices, "/var/run/mini_httpd.pid", "77\n"},
    {Since::kServices, "/var/run/udhcpc1.pid", "78\n"},

    {Since::kUse, "/etc/iproute2/rt_tables", "255 local\n201 pf_office\n202 pf_lab\n"},
    {Since::kUse, "/tmp/wan_index", "2\n"},
    {Since::kUse, "/tmp/wifi_statistic", "1 2 3 4 5 6 7 8\n"},
    {Since::kUse, "/tmp/wpsStatus5G", "1\n"},
    {Since::kUse, "/var/wscResult", "-1"},
};

constexpr UsualAnswer kAnswers[] = {
    {Since::kBoot, "switch reg r 3608", "value=0x1\n"},
    {Since::kBoot, "cat /var/wan1.info | sed", "203.0.113.1\n"},
    {Since::kBoot, "arp -an | grep", "? (203.0.113.1) at 02:00:00:00:00:09 [ether] on br0\n"},

    {Since::kUse, "get_count_assoc", "1\n"},
    {Since::kUse, "top -n 1",
     "CPU:   3% usr   1% sys   0% nice  94% idle   2% io   0% irq   0% softirq\n"},
};

}  // namespace

std::span<const UsualFile> usualFiles() {
  return kFiles;
}

std::span<const UsualAnswer> usualAnswers() {
  return kAnswers;
}

const char *usualContent(const std::string &path) {
  for (const UsualFile &file : kFiles) {
    if (file.path == path) return file.content;
  }
  throw std::logic_error("no device usually has " + path);
}

std::string usualHead(const std::string &path, size_t lines) {
  std::string head;
  for (const std::string &line : linesIn(usualContent(path))) {
    if (lines-- == 0) break;
    head += line + "\n";
  }
  return head;
}

std::string usualFolder(Since then) {
  static std::map<Since, sim::Root> folders;
  auto [found, is_new] = folders.try_emplace(then);
  sim::Root &root = found->second;
  for (const UsualFile &file : kFiles) {
    if (is_new && file.since <= then) root.write(file.path, file.content);
  }
  return root.forReading("/");
}

void putUsualAnswers(sim::Device &device, Since then) {
  for (const UsualAnswer &answer : kAnswers) {
    if (answer.since <= then) device.answer(answer.part, answer.output);
  }
}

void putUsualParts(sim::Device &device) {
  device.part<sim::Leds>();
  device.part<sim::Radio>();
  device.part<sim::Switch>();
  device.part<sim::WpsSession>();
}

void putWpsStatus(sim::Device &device, int status) {
  device.part<sim::WpsSession>().status("ra0", {{status, 1}}).status("apcli0", {{status, 1}});
}

void putWpsResult(sim::Device &device, const sim::WpsSession::Credential &credential) {
  device.part<sim::WpsSession>()
      .current({.state = 2})
      .credential(credential)
      .stations({std::string("\x00\x0c\x43\x28\x60\x2a", 6)})
      .clientStatistics(
          "SSID       = home\nAuthType   = WPA2PSK\nEncrypType = AES\nKey        = pass phrase\n");
}

}  // namespace orba::tool
