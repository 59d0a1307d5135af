#include "tools/device/desk_device.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "net/interface_name.h"
#include "orba_util.h"
#include "sim/radio.h"
#include "sim/switch.h"
#include "sim/wps_session.h"
#include "tools/device/config.h"
#include "tools/device/usual_device.h"

namespace orba::tool {

namespace {

std::string wanAddress(int wan) {
  return "203.0.113." + std::to_string(wan + 1);
}

// A file that the device has unless its root brings one.
void addFile(sim::Device &device, const std::string &path, const std::string &content) {
  if (!device.text(path)) device.file(path, content);
}

std::string macOf(int number) {
  return "02:00:00:00:00:0" + std::to_string(number);
}

std::string maskOf(int prefix) {
  unsigned int mask = prefix == 0 ? 0 : ~0u << (32 - prefix);
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += (text.empty() ? "" : ".") + std::to_string(mask >> shift & 255);
  }
  return text;
}

std::invalid_argument wanted(const std::string &form) {
  return std::invalid_argument("wanted: " + form);
}

std::string quotedWord(std::istringstream &words) {
  std::string word;
  words >> std::quoted(word);
  return word;
}

void readInterface(std::istringstream &words, sim::Device &device) {
  std::string name, address, mac;
  if (!(words >> name >> address)) throw wanted("interface NAME ADDRESS[/PREFIX]|- [MAC]");
  sim::Interface &interface = device.interface(name);
  if (address != "-") {
    size_t slash = address.find('/');
    interface.address(address.substr(0, slash));
    int prefix = slash == std::string::npos ? 24 : std::stoi(address.substr(slash + 1));
    if (prefix < 0 || prefix > 32) throw wanted("a prefix from 0 to 32");
    interface.netmask(maskOf(prefix));
  }
  if (words >> mac) interface.mac(mac);
}

void readWps(std::istringstream &words, sim::Device &device) {
  std::string ifname, step;
  words >> ifname;
  std::vector<sim::WpsSession::Step> script;
  while (words >> step) {
    size_t star = step.find('*');
    int ticks = star == std::string::npos ? 1 : std::stoi(step.substr(star + 1));
    script.push_back({std::stoi(step.substr(0, star)), ticks});
  }
  if (script.empty()) throw wanted("wps IFNAME STATUS[*TICKS] ...");
  device.part<sim::WpsSession>().status(ifname, script);
}

void readCredential(std::istringstream &words, sim::Device &device) {
  sim::WpsSession::Credential credential;
  credential.ssid = quotedWord(words);
  words >> credential.authentication >> credential.encryption;
  credential.key = quotedWord(words);
  if (words.fail()) throw wanted("wps-credential \"NAME\" AUTHENTICATION ENCRYPTION \"KEY\"");
  device.part<sim::WpsSession>().credential(credential);
}

void readLine(const std::string &line, sim::Device &device) {
  std::istringstream words(line);
  std::string keyword;
  words >> keyword;
  if (keyword == "interface") {
    readInterface(words, device);
  } else if (keyword == "answer") {
    std::string part = quotedWord(words), output = quotedWord(words);
    if (words.fail()) throw wanted("answer \"PART OF A COMMAND\" \"OUTPUT\"");
    device.answer(part, output + "\n");
  } else if (keyword == "wps") {
    readWps(words, device);
  } else if (keyword == "wps-state") {
    sim::WpsSession::Current current;
    if (!(words >> current.state)) throw wanted("wps-state NUMBER");
    device.part<sim::WpsSession>().current(current);
  } else if (keyword == "wps-credential") {
    readCredential(words, device);
  } else {
    throw std::invalid_argument("'" + keyword + "' is not known");
  }
}

}  // namespace

void setUpDeskDevice(sim::Device &device) {
  for (const char *lan : {"br0", getLanIfName()}) {
    device.interface(lan).address("192.168.1.1").netmask("255.255.255.0").mac(macOf(0));
  }
  device.interface("ra0").mac(macOf(8));
  for (int wan = 1; wan <= kWans; wan++) {
    InterfaceName interface, ethernet;
    wanInterface(wan, interface);
    wanDevice(wan, ethernet);
    if (interface.empty() || interface.is("br0")) continue;
    if (!ethernet.empty()) device.interface(ethernet.text()).mac(macOf(wan));
    device.interface(interface.text()).address(wanAddress(wan)).netmask("255.255.255.0");
    const std::string info = "/var/wan" + std::to_string(wan) + ".info";
    addFile(device, info, usualContent(info));
  }
  addFile(device, "/proc/net/route", usualHead("/proc/net/route", 1));
  putUsualAnswers(device, Since::kBoot);
  putUsualParts(device);
  sim::Radio &radio = device.part<sim::Radio>().networks({});
  for (const char *ifname : {"ra0", "ra1", "ra2", "ra3"}) radio.counters({}, ifname);
  device.part<sim::Switch>().learn("020000000009", {3});
  device.forget();
}

void readDeviceFile(const std::string &path, sim::Device &device) {
  std::ifstream file(path);
  if (!file) throw BadConfig(path + ": cannot be read");
  std::string networks;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    number++;
    size_t first = line.find_first_not_of(" \t");
    bool network = first != std::string::npos && line[first] == '"';
    networks += network ? line + "\n" : "\n";
    if (first == std::string::npos || line[first] == '#' || network) continue;
    try {
      readLine(line, device);
    } catch (const std::logic_error &error) {
      throw BadConfig(path + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  try {
    device.part<sim::Radio>().networks(sim::readNeighbourhood(networks));
  } catch (const std::invalid_argument &error) {
    throw BadConfig(path + ": " + error.what());
  }
}

std::vector<std::string> namesOnAir(sim::Device &device) {
  constexpr int kSurveyList = 0x0609;
  // In a record of the driver's list, after the number of records in front of all.
  constexpr size_t kNameLength = 12, kName = 16, kLongestName = 32;
  const auto values = device.part<sim::Radio>().values();
  auto found = values.find({"ra0", kSurveyList});
  std::vector<std::string> names;
  if (found == values.end()) return names;
  const sim::Bytes &list = found->second;
  auto number = [&](size_t at) {
    return size_t{list[at]} | size_t{list[at + 1]} << 8 | size_t{list[at + 2]} << 16;
  };
  for (size_t at = 4; at + kName + kLongestName <= list.size() && number(at) > 0;
       at += number(at)) {
    const auto name = list.begin() + static_cast<ptrdiff_t>(at + kName);
    const size_t length = std::min(number(at + kNameLength), kLongestName);
    names.emplace_back(name, name + static_cast<ptrdiff_t>(length));
  }
  return names;
}

void DeskDevice::prepare(sim::Device &made, void (*begin)(sim::Device &)) const {
  if (!root.empty()) made.lowerRoot(root);
  begin(made);
  if (chosen_channel) {
    int channel = atoi(made.setting("Channel").value_or("0").c_str());
    made.part<sim::Radio>().channel(channel > 0 ? channel : *chosen_channel);
  }
  if (!device.empty()) readDeviceFile(device, made);
}

}  // namespace orba::tool
