#include "store_format.h"

#include <optional>
#include <utility>

namespace nvram {
namespace {

constexpr std::string_view kFileComment =
    "# Router settings, one KEY=VALUE a line; \\n, \\r, \\t, \\\\ and \\xHH stand for single "
    "bytes.\n";

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";  // some editors begin with it

// The escapes with a letter of their own: the byte and the letter.
constexpr std::pair<char, char> kNamedEscapes[] = {
    {'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}};

// A blank that an editor might lose is `exposed`.
void appendByte(std::string &out, char byte, bool exposed) {
  for (const auto &[meant, letter] : kNamedEscapes) {
    if (byte == meant) {
      out += {'\\', letter};
      return;
    }
  }
  constexpr char kDigits[] = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  if (value < 0x20 || value == 0x7f || (value == ' ' && exposed)) {
    out += {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
  } else {
    out += byte;
  }
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The byte of the escape at the start of `text`, which is moved past it.
std::optional<char> takeEscape(std::string_view &text) {
  if (text.size() >= 4 && text[1] == 'x') {
    const int high = hexDigit(text[2]);
    const int low = hexDigit(text[3]);
    if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
    text.remove_prefix(4);
    return static_cast<char>(high * 16 + low);
  }
  if (text.size() < 2) return std::nullopt;
  for (const auto &[meant, letter] : kNamedEscapes) {
    if (text[1] == letter) {
      text.remove_prefix(2);
      return meant;
    }
  }
  return std::nullopt;
}

std::optional<std::string> unescape(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    if (text.front() == '\\') {
      const auto byte = takeEscape(text);
      if (!byte) return std::nullopt;
      bytes += *byte;
    } else {
      bytes += text.front();
      text.remove_prefix(1);
    }
  }
  return bytes;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view withoutIndent(std::string_view line) {
  while (!line.empty() && isBlank(line.front())) line.remove_prefix(1);
  return line;
}

// The number in "[N]", 0 when it names no space.
int sectionOf(std::string_view line) {
  while (isBlank(line.back())) line.remove_suffix(1);
  if (line.size() != 3 || line[2] != ']') return 0;
  const int space = line[1] - '0';
  return space >= kFirstSpace && space <= kLastSpace ? space : 0;
}

class Parser {
 public:
  Parser(std::vector<Damage> *damages, int space) : damages_(damages), space_(space) {}

  void take(std::string_view line) {
    ++line_;
    // A carriage return of the value's own is always escaped, so one at the
    // end is an editor's.
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = withoutIndent(line);
    if (line.empty() || line.front() == '#') return;
    if (line.find('\0') != line.npos) return damaged("holds a NUL byte");
    if (line.front() == '[') return takeSection(line);
    takeSetting(line);
  }

  std::vector<Setting> settings() && {
    std::erase_if(settings_, [](const Setting &setting) { return setting.key.empty(); });
    return std::move(settings_);
  }

 private:
  void damaged(std::string what) { damages_->push_back({line_, std::move(what)}); }

  void takeSection(std::string_view line) {
    space_ = sectionOf(line);
    if (space_ == 0) damaged("names no space; the lines up to the next section are left out");
  }

  void takeSetting(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == line.npos) return damaged("has no '='");
    const auto written = line.substr(0, equals);
    if (written.empty()) return damaged("has no key before '='");
    if (isBlank(written.back())) return damaged("has a blank before '='");
    auto key = unescape(written);
    auto value = unescape(line.substr(equals + 1));
    if (!key || !value) return damaged("holds a backslash that begins no known escape");
    if (!validKey(*key)) return damaged("has a key that no setting can have");
    if (space_ != 0) add({space_, std::move(*key), std::move(*value), line_});
  }

  void add(Setting setting) {
    const auto [earlier, is_new] =
        places_.try_emplace({setting.space, setting.key}, settings_.size());
    if (!is_new) {
      Setting &replaced = settings_[earlier->second];
      damaged("sets the key of line " + std::to_string(replaced.line) + " again");
      replaced.key.clear();
      earlier->second = settings_.size();
    }
    settings_.push_back(std::move(setting));
  }

  std::vector<Damage> *damages_;
  int space_;  // 0: below a section line that names none
  int line_ = 0;
  std::vector<Setting> settings_;  // without a key: replaced by a later line
  std::map<std::pair<int, std::string>, std::size_t> places_;
};

}  // namespace

bool validKey(std::string_view key) {
  return !key.empty() && key.front() != '#' && key.front() != '[' &&
         key.find_first_of(std::string_view("=\n\0", 3)) == key.npos;
}

std::vector<Setting> parseSettings(std::string_view text, std::vector<Damage> *damages, int space) {
  Parser parser(damages, space);
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  while (!text.empty()) {
    const auto end = text.find('\n');
    parser.take(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
  return std::move(parser).settings();
}

std::string printSetting(std::string_view key, std::string_view value) {
  std::string line;
  for (std::size_t i = 0; i < key.size(); ++i)
    appendByte(line, key[i], i == 0 || i + 1 == key.size());
  line += '=';
  for (std::size_t i = 0; i < value.size(); ++i) appendByte(line, value[i], i + 1 == value.size());
  line += '\n';
  return line;
}

std::string printSettings(const Settings &settings) {
  std::string text(kFileComment);
  for (const auto &[key, value] : settings) text += printSetting(key, value);
  return text;
}

}  // namespace nvram
