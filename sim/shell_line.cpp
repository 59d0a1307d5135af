#include "sim/shell_line.h"

#include <stdexcept>

namespace sim {

namespace {

char quoted(char c) {
  auto byte = static_cast<unsigned char>(c);
  return static_cast<char>(byte < 0x80 ? byte | 0x80 : 0xff);
}

bool isOneOf(char c, std::string_view some) {
  return some.find(c) != std::string_view::npos;
}

class Reader {
 public:
  Reader(std::string_view line, std::string_view placeholders)
      : line_(line), placeholders_(placeholders) {}

  // False for a line that is not understood.
  bool read() {
    while (at_ < line_.size()) {
      char c = line_[at_++];
      bool understood = c == '\'' ? readSingle() : c == '"' ? readDouble() : readPlain(c);
      if (!understood) return false;
    }
    return !in_backquotes_;
  }
  const std::string &form() const { return form_; }

 private:
  bool readSingle() {
    size_t end = line_.find('\'', at_);
    if (end == std::string_view::npos) return false;
    if (end == at_) form_ += quoted('\0');
    while (at_ < end) form_ += quoted(line_[at_++]);
    at_++;
    return true;
  }

  bool readDouble() {
    if (at_ < line_.size() && line_[at_] == '"') form_ += quoted('\0');
    while (at_ < line_.size()) {
      char c = line_[at_++];
      if (c == '"') return true;
      if (c == '\\') return false;
      bool works_there_too = c == '$' || c == '`';
      form_ += works_there_too ? c : quoted(c);
    }
    return false;
  }

  bool readPlain(char c) {
    if (c == '\\') return readEscapedQuote();
    if (c == '`') in_backquotes_ = !in_backquotes_;
    bool known = c == '\n' || (c >= ' ' && c <= '~') || isOneOf(c, placeholders_);
    form_ += known ? c : '\x01';
    return true;
  }

  bool readEscapedQuote() {
    if (in_backquotes_ || at_ == line_.size() || line_[at_] != '\'') return false;
    form_ += quoted(line_[at_++]);
    return true;
  }

  std::string_view line_, placeholders_;
  size_t at_ = 0;
  bool in_backquotes_ = false;
  std::string form_;
};

}  // namespace

std::optional<std::string> shellForm(std::string_view line, std::string_view placeholders) {
  Reader reader(line, placeholders);
  if (!reader.read()) return {};
  return reader.form();
}

std::string withoutData(std::string_view line) {
  std::optional<std::string> form = shellForm(line);
  if (!form) throw std::invalid_argument("not understood: " + std::string(line));
  std::string line_without;
  for (char c : *form) line_without += c == quoted('\0') ? "''" : std::string(1, c < 0 ? 'x' : c);
  return line_without;
}

}  // namespace sim
