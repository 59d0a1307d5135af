#include "bench/jobs.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bench/null_device.h"
#include "orba_util.h"
#include "platform/nvram/store_format.h"
#include "sim/neighbourhood.h"
#include "tools/catalog/settings.h"

namespace orba::bench {

namespace {

// A list builder: the entry point, its list and one record of it.
struct ListBuilder {
  const char *name;
  std::function<void()> run;
  const char *key, *record;
};

const ListBuilder kListBuilders[] = {
    {"iptablesIPPortFilterRun", iptablesIPPortFilterRun, "IPPortFilterRules",
     "any/0,,0,0,10.0.0.1,,80,0,1,,,,,,"},
    {"iptablesPortForwardRun", iptablesPortForwardRun, "PortForwardRules", "192.168.1.9,80,0,TCP"},
    {"iptablesAclRun", iptablesAclRun, "aclRules", "10.0.0.1"},
    {"MACFilterRun", MACFilterRun, "MACFilterRules", "00:11:22:33:44:55"},
    {"iptablesWebsFilterRun", iptablesWebsFilterRun, "websURLFilters", "example.org"},
    {"RoutingInit", RoutingInit, "RoutingRules", "10.1.0.0,255.255.0.0,,LAN,br0,,"},
    {"executeStaticRoute", executeStaticRoute, "StaticRoutingRules",
     "1,n,10.1.0.0,255.255.0.0,10.0.0.1,br0"},
};

// What nobody reads would be measured in vain.
void put(const std::string &key, const std::string &value, int space = 1) {
  if (tool::descriptionOf(key, space) == nullptr) {
    throw std::invalid_argument("the library has no setting " + key);
  }
  null_device::setting(key, value, space);
}

void example(const std::string &name) {
  null_device::reset();
  std::ifstream file(std::string(ORBA_EXAMPLES) + "/" + name);
  std::ostringstream content;
  content << file.rdbuf();
  for (const nvram::Setting &entry : nvram::parseSettings(content.str(), nullptr)) {
    put(entry.key, entry.value, entry.space);
  }
}

std::string listOf(const char *record, int records) {
  std::string list;
  for (int i = 0; i < records; i++) list += (i > 0 ? ";" : "") + std::string(record);
  return list;
}

Job listJob(const ListBuilder &builder) {
  auto prepare = [&builder](int records) {
    example("gateway.conf");
    put("websFilterTrustIP", "0.0.0.0");
    null_device::file("/proc/net/route", "Iface\tDestination\tGateway\n");
    put(builder.key, listOf(builder.record, records));
  };
  return {builder.name, "record", {8, 64, 512, 4096}, true, prepare, [&builder] { builder.run(); }};
}

void prepareSurvey(int networks) {
  example("gateway.conf");
  sim::Network network;
  network.ssid = "Neighbour";
  network.bssid = "00:11:22:33:44:55";
  network.security = {"WPA2-PSK", "AES"};
  null_device::survey(
      sim::encodeList(std::vector<sim::Network>(static_cast<size_t>(networks), network)));
}

void prepareStatistics(int) {
  example("gateway.conf");
  std::string table = "Inter-|   Receive  |  Transmit\n face |bytes packets|bytes packets\n";
  for (const char *name : {"lo", "eth2", "eth2.1", "eth2.2", "br0", "ra0"}) {
    table += std::string(name) + ": 123456 789 0 0 0 0 0 0 654321 987 0 0 0 0 0 0\n";
  }
  null_device::file("/proc/net/dev", table);
}

std::vector<Job> allJobs() {
  std::vector<Job> jobs;
  jobs.push_back({"firewall_init",
                  "command",
                  {1},
                  false,
                  [](int) { example("gateway.conf"); },
                  [] { firewall_init(); }});
  for (const ListBuilder &builder : kListBuilders) jobs.push_back(listJob(builder));
  jobs.push_back({"printStaBssidList", "network", {1, 16, 256}, false, prepareSurvey, [] {
                    printStaBssidList();
                  }});
  jobs.push_back({"getCurrentPacketStatistic", "answer", {1}, false, prepareStatistics, [] {
                    static char answer[1024];
                    getCurrentPacketStatistic(answer);
                  }});
  return jobs;
}

}  // namespace

const std::vector<Job> &jobs() {
  static const std::vector<Job> all = allJobs();
  return all;
}

}  // namespace orba::bench
