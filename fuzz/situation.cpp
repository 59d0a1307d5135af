#include "fuzz/situation.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "fuzz/command_list.h"
#include "sim/leds.h"
#include "sim/radio.h"
#include "sim/switch.h"
#include "sim/system_v.h"
#include "tools/catalog/entry_point.h"
#include "tools/device/desk_device.h"
#include "tools/device/usual_device.h"

namespace orba::fuzz {

namespace {

constexpr std::string_view kHex = "0123456789abcdef";
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::string_view kNoWord = "\"\"";
constexpr std::string_view kEscapes = "\\\nn\rr\tt";

constexpr size_t kMostCalls = 1000000;

struct Exit {};

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  for (size_t at = 0; (at = text.find_first_not_of(kBlanks, at)) != std::string_view::npos;) {
    size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
    std::string_view word = text.substr(at, end - at);
    words.push_back(word == kNoWord ? "" : decoded(word));
    at = end;
  }
  return words;
}

unsigned long hexadecimal(const std::string &text) {
  return strtoul(text.c_str(), nullptr, 16);
}

void setInterface(sim::Interface &interface, const std::string &value) {
  std::vector<std::string> words = wordsOf(value);
  words.resize(3);
  interface.address(words[0]).netmask(words[1]).mac(words[2]);
}

void setRadio(sim::Radio &radio, const std::string &key, const std::string &value) {
  std::string ifname = key.substr(0, key.find(' '));
  std::string request = key.substr(std::min(key.size(), ifname.size() + 1));
  sim::Bytes bytes(value.begin(), value.end());
  if (request == "channel") {
    radio.channel(atoi(value.c_str()), ifname);
  } else if (request == "profile") {
    radio.profile(bytes, ifname);
  } else if (request == "counters") {
    std::array<uint32_t, 4> counters{};
    memcpy(counters.data(), bytes.data(), std::min(bytes.size(), sizeof counters));
    radio.counters(counters, ifname);
  } else {
    radio.value(static_cast<int>(hexadecimal(request)), bytes, ifname);
  }
}

void breakSomething(sim::Device &device, const std::string &what, const std::string &value) {
  if (what == "desk") tool::setUpDeskDevice(device);
  if (what == "console") device.withoutConsole();
  if (what == "sockets") device.withoutSockets();
  if (what == "memory") device.memoryRunsOut();
  if (what == "refuse") device.refuse(value);
  if (what == "unstartable") device.unstartable(value);
  if (what == "switch") device.part<sim::Switch>().breakDown();
  if (what == "leds") device.part<sim::Leds>().refusing();
  if (what == "call") {
    device.faults().fail(hexadecimal(value), sim::Faults::kOnce);
    device.faults().limit(kMostCalls);
  }
  if (what == "radio") {
    size_t blank = std::min(value.find(' '), value.size());
    int oid = static_cast<int>(hexadecimal(value.substr(0, blank)));
    device.part<sim::Radio>().fail(oid, atoi(value.c_str() + blank));
  }
}

const tool::EntryPoint *entryCalled(const std::string &name) {
  static const auto by_name = [] {
    std::unordered_map<std::string_view, const tool::EntryPoint *> all;
    for (const tool::EntryPoint &entry : tool::entryPoints()) all[entry.name] = &entry;
    return all;
  }();
  auto found = by_name.find(name);
  return found != by_name.end() ? found->second : nullptr;
}

class Player {
 public:
  Player() {
    device_.onExit([](int) { throw Exit(); });
    tool::putUsualParts(device_);
    device_.part<sim::SystemV>().alone();
  }

  void play(const Line &line) {
    const std::string rest = line.key.substr(1);
    switch (line.key[0]) {
      case '[':
        space_ = line.key == "[2]" ? 2 : 1;
        break;
      case '*':
        device_.everySetting(line.value);
        break;
      case '/':
        rest == "*" ? device_.root().everyFile(line.value)
                    : void(device_.file(line.key, line.value));
        break;
      case '|':
        device_.answer(rest, line.value);
        break;
      case '&':
        setInterface(device_.interface(rest), line.value);
        break;
      case '%':
        setRadio(device_.part<sim::Radio>(), rest, line.value);
        break;
      case '$':
        setSwitch(rest, line.value);
        break;
      case '!':
        breakSomething(device_, rest, line.value);
        break;
      case '@':
        call(rest, line.words);
        break;
      default:
        device_.settings({{line.key, line.value}}, space_);
    }
  }

  Outcome finish() {
    pass(1000);
    judge("what follows later");
    outcome_.asked = device_.asked();
    return std::move(outcome_);
  }

 private:
  // A timer's handler may end the process too.
  void pass(long long milliseconds) {
    try {
      device_.advance(milliseconds);
    } catch (const Exit &) {
    }
  }

  void setSwitch(const std::string &key, const std::string &value) {
    sim::Switch &part = device_.part<sim::Switch>();
    if (key == "learn" || key == "last") {
      std::string mac = value.substr(0, value.find(' '));
      int port = atoi(value.c_str() + std::min(value.size(), mac.size() + 1)) & 7;
      key == "last" ? part.learnLast(mac, {port}) : part.learn(mac, {port});
    } else if (key == "slow") {
      part.slow(atoi(value.c_str()));
    } else {
      part.set(static_cast<uint32_t>(hexadecimal(key)), static_cast<uint32_t>(hexadecimal(value)));
    }
  }

  void call(const std::string &name, std::vector<std::string> words) {
    if (name == "wait") {
      pass(words.empty() ? 0 : std::clamp(atoll(words[0].c_str()), 0LL, 20000LL));
      return judge(name);
    }
    const tool::EntryPoint *entry = entryCalled(name);
    if (entry == nullptr) return;
    size_t word = 0;
    for (const tool::Parameter &parameter : entry->parameters) {
      if (!parameter.isWord()) continue;
      // Takes as long as it is told to.
      bool lasts = parameter.name == "iterations" && word < words.size();
      if (lasts) words[word] = std::to_string(atoi(words[word].c_str()) & 15);
      word++;
    }
    try {
      entry->checkWords(words);
      judged_ = device_.events().size();
      entry->call(words);
    } catch (const tool::BadArgument &) {
    } catch (const Exit &) {
    } catch (const sim::Endless &endless) {
      // Whoever could not let go of a lock may wait for it.
      if (device_.faults().failed().empty())
        outcome_.findings.push_back(name + ": " + endless.what());
    }
    // These run what their caller gives them: that is their purpose.
    if (name.rfind("doSystem", 0) == 0) judged_ = device_.events().size();
    judge(name);
  }

  void judge(const std::string &caller) {
    for (; judged_ < device_.events().size(); judged_++) {
      const sim::Event &event = device_.events()[judged_];
      bool piped = event.kind == sim::Event::kPipe;
      if (!piped && event.kind != sim::Event::kCommand) continue;
      if (!libraryCommands().passes(event.text, piped)) {
        outcome_.findings.push_back(caller + ": not a command of fuzz/commands.txt: " + event.text);
      }
      outcome_.lines.emplace_back(event.text, piped);
    }
    if (device_.openPipes() != 0) outcome_.findings.push_back(caller + ": a pipe is left open");
  }

  sim::Device device_;
  Outcome outcome_;
  int space_ = 1;
  size_t judged_ = 0;
};

}  // namespace

std::string decoded(std::string_view text) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    size_t plain = std::min(text.find('\\', i), text.size());
    result.append(text, i, plain - i);
    if ((i = plain) == text.size()) break;
    char next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
    if (next == 'x' && i + 3 < text.size() && isxdigit(text[i + 2] & 0xFF) != 0 &&
        isxdigit(text[i + 3] & 0xFF) != 0) {
      result += static_cast<char>(hexadecimal(std::string(text.substr(i + 2, 2))));
      i += 3;
    } else if (next == 'z' && i + 4 < text.size()) {
      result.append(hexadecimal(std::string(text.substr(i + 2, 3))), '\0');
      i += 4;
    } else if (size_t at = kEscapes.find(next); next != '\0' && (next == '\\' || at % 2 == 0)) {
      result += kEscapes[next == '\\' ? 0 : at - 1];
      i++;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::string encoded(std::string_view text) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    char c = text[i];
    if (c >= ' ' && c <= '~' && c != '\\') {
      result += c;
      continue;
    }
    size_t at = kEscapes.find(c);
    size_t zeros = std::min({text.find_first_not_of('\0', i), text.size(), i + 0xfff}) - i;
    if (zeros > 1) {
      result += {'\\', 'z', kHex[zeros >> 8], kHex[zeros >> 4 & 15], kHex[zeros & 15]};
      i += zeros - 1;
    } else if (c == '\\') {
      result += "\\\\";
    } else if (at != std::string_view::npos && at % 2 == 1) {
      result += {'\\', kEscapes[at + 1]};
    } else {
      result += {'\\', 'x', kHex[c >> 4 & 15], kHex[c & 15]};
    }
  }
  return result;
}

Situation readSituation(std::string_view text) {
  Situation situation;
  while (!text.empty()) {
    size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    size_t equals = line.find('=');
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '@') {
      std::vector<std::string> words = wordsOf(line);
      std::string name = words[0];
      words.erase(words.begin());
      situation.push_back({name, "", words});
    } else if (equals != std::string_view::npos && equals > 0) {
      situation.push_back(
          {std::string(line.substr(0, equals)), decoded(line.substr(equals + 1)), {}});
    } else if (line[0] == '[' || line[0] == '!') {
      situation.push_back({std::string(line), "", {}});
    }
  }
  return situation;
}

std::string print(const Situation &situation) {
  std::string text;
  for (const Line &line : situation) {
    if (line.isCall()) {
      text += line.key;
      for (const std::string &word : line.words) {
        text += word.empty() ? " " + std::string(kNoWord) : " ";
        for (char c : encoded(word)) c == ' ' ? text.append("\\x20") : text.append(1, c);
      }
    } else {
      bool bare = line.key[0] == '[' || (line.key[0] == '!' && line.value.empty());
      text += line.key + (bare ? "" : "=" + encoded(line.value));
    }
    text += "\n";
  }
  return text;
}

Situation usualSituation() {
  Situation situation;
  for (const tool::UsualFile &file : tool::usualFiles()) {
    situation.push_back({file.path, file.content, {}});
  }
  for (const tool::UsualAnswer &answer : tool::usualAnswers()) {
    situation.push_back({std::string("|") + answer.part, answer.output, {}});
  }
  sim::Device device;
  tool::putWpsStatus(device, 34);
  tool::putWpsResult(device, tool::kUsualCredential);
  for (const auto &[name, value] : device.part<sim::Radio>().values()) {
    char request[12];
    snprintf(request, sizeof request, " %04x", static_cast<unsigned>(name.second));
    situation.push_back({"%" + name.first + request, {value.begin(), value.end()}, {}});
  }
  return situation;
}

Outcome play(const Situation &situation) {
  Player player;
  for (const Line &line : situation) player.play(line);
  return player.finish();
}

}  // namespace orba::fuzz
