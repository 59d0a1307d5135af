#include "sim/neighbourhood.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace sim {

namespace {

// The name at the front of a line, which must begin with a quote.
std::string readQuoted(std::istream &line) {
  std::string text;
  if (line.get() != '"') throw std::invalid_argument("a name in double quotes is missing");
  for (int c = line.get(); c != '"'; c = line.get()) {
    if (c == EOF) throw std::invalid_argument("the name's closing quote is missing");
    if (c != '\\') {
      text += static_cast<char>(c);
      continue;
    }
    c = line.get();
    if (c == '"' || c == '\\') {
      text += static_cast<char>(c);
      continue;
    }
    char digits[3] = {};
    char *end = digits;
    if (c == 'x' && line.read(digits, 2)) text += static_cast<char>(strtoul(digits, &end, 16));
    if (end != digits + 2) throw std::invalid_argument("only \\\" \\\\ and \\xHH are known");
  }
  return text;
}

Bytes bytesOfMac(const std::string &colons) {
  unsigned int byte[6];
  if (sscanf(colons.c_str(), "%x:%x:%x:%x:%x:%x", &byte[0], &byte[1], &byte[2], &byte[3], &byte[4],
             &byte[5]) != 6) {
    throw std::invalid_argument("not an address: " + colons);
  }
  return Bytes(byte, byte + 6);
}

Network readNetwork(const std::string &text) {
  static const std::vector<std::string> kWords = {"WPA",  "WPA-PSK", "WPA2", "WPA2-PSK", "CCKM",
                                                  "TKIP", "AES",     "WEP",  "open",     "ad-hoc"};
  std::istringstream line(text);
  Network network;
  network.ssid = readQuoted(line);
  if (network.ssid.size() > 32) throw std::invalid_argument("the name is longer than 32 bytes");
  if (!(line >> network.bssid >> network.channel >> network.signal)) {
    throw std::invalid_argument("address, channel and signal must follow the name");
  }
  bytesOfMac(network.bssid);
  for (std::string word; line >> word;) {
    if (std::find(kWords.begin(), kWords.end(), word) == kWords.end()) {
      throw std::invalid_argument("unknown word: " + word);
    }
    network.security.push_back(word);
  }
  return network;
}

uint32_t kilohertzOf(int channel) {
  int megahertz = channel == 14   ? 2484
                  : channel < 14  ? 2407 + 5 * channel
                  : channel < 184 ? 5000 + 5 * channel
                                  : 4000 + 5 * channel;
  return static_cast<uint32_t>(megahertz) * 1000;
}

void append(Bytes &to, const Bytes &more) {
  to.insert(to.end(), more.begin(), more.end());
}

// Group cipher, pairwise ciphers and key management, as both kinds of security
// element list them.
Bytes suites(const Network &network, const Bytes &oui, bool enterprise, bool psk) {
  auto suite = [&](uint8_t type) {
    Bytes bytes = oui;
    bytes.push_back(type);
    return bytes;
  };
  auto list = [](const std::vector<Bytes> &all) {
    Bytes bytes;
    putNumber(bytes, 0, static_cast<uint32_t>(all.size()), 2);
    for (const Bytes &one : all) append(bytes, one);
    return bytes;
  };
  std::vector<Bytes> ciphers, keys;
  if (network.has("TKIP")) ciphers.push_back(suite(2));
  if (network.has("AES")) ciphers.push_back(suite(4));
  if (enterprise) keys.push_back(suite(1));
  if (psk) keys.push_back(suite(2));
  if (network.has("CCKM")) keys.push_back({0x00, 0x40, 0x96, 0});
  Bytes bytes = ciphers.empty() ? suite(0) : ciphers.front();
  append(bytes, list(ciphers));
  append(bytes, list(keys));
  return bytes;
}

void appendElement(Bytes &elements, uint8_t id, const Bytes &body) {
  elements.push_back(id);
  elements.push_back(static_cast<uint8_t>(body.size()));
  append(elements, body);
}

Bytes elementsOf(const Network &network) {
  Bytes elements(12);
  appendElement(elements, 0, Bytes(network.ssid.begin(), network.ssid.end()));
  appendElement(elements, 1, {0x82, 0x84, 0x8B, 0x96});
  if (network.has("WPA") || network.has("WPA-PSK")) {
    Bytes body = {0x00, 0x50, 0xF2, 1, 1, 0};
    append(body, suites(network, {0x00, 0x50, 0xF2}, network.has("WPA"), network.has("WPA-PSK")));
    appendElement(elements, 221, body);
  }
  if (network.has("WPA2") || network.has("WPA2-PSK")) {
    Bytes body = {1, 0};
    append(body, suites(network, {0x00, 0x0F, 0xAC}, network.has("WPA2"), network.has("WPA2-PSK")));
    appendElement(elements, 48, body);
  }
  return elements;
}

}  // namespace

bool Network::has(const std::string &word) const {
  return std::find(security.begin(), security.end(), word) != security.end();
}

std::vector<Network> readNeighbourhood(const std::string &text) {
  std::vector<Network> networks;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    number++;
    if (line.empty() || line[0] == '#') continue;
    try {
      networks.push_back(readNetwork(line));
    } catch (const std::invalid_argument &error) {
      throw std::invalid_argument("line " + std::to_string(number) + ": " + error.what());
    }
  }
  return networks;
}

Bytes encodeNetwork(const Network &network) {
  Bytes elements = elementsOf(network);
  Bytes record(116);
  putNumber(record, 0, static_cast<uint32_t>(record.size() + elements.size()));
  Bytes mac = bytesOfMac(network.bssid);
  std::copy(mac.begin(), mac.end(), record.begin() + 4);
  putNumber(record, 12, static_cast<uint32_t>(network.ssid.size()));
  std::copy(network.ssid.begin(), network.ssid.end(), record.begin() + 16);
  bool open = network.security.empty() || network.has("open");
  putNumber(record, 48, open ? 0 : 1);
  putNumber(record, 52, static_cast<uint32_t>(network.signal));
  putNumber(record, 64, 100);
  putNumber(record, 72, kilohertzOf(network.channel));
  putNumber(record, 92, network.has("ad-hoc") ? 0 : 1);
  putNumber(record, 112, static_cast<uint32_t>(elements.size()));
  append(record, elements);
  return record;
}

Bytes encodeList(const std::vector<Network> &networks) {
  std::vector<Bytes> records;
  records.reserve(networks.size());
  for (const Network &network : networks) records.push_back(encodeNetwork(network));
  return encodeList(records, static_cast<uint32_t>(records.size()));
}

Bytes encodeList(const std::vector<Bytes> &records, uint32_t count) {
  Bytes list;
  putNumber(list, 0, count);
  for (const Bytes &record : records) append(list, record);
  return list;
}

void putNumber(Bytes &bytes, size_t offset, uint32_t value, size_t width) {
  if (bytes.size() < offset + width) bytes.resize(offset + width);
  for (size_t i = 0; i < width; i++) bytes[offset + i] = static_cast<uint8_t>(value >> 8 * i);
}

}  // namespace sim
