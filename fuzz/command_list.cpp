#include "fuzz/command_list.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "sim/shell_line.h"

namespace orba::fuzz {

namespace {

// What stands in a command's form for the marks of the list; with the highest
// bit set where the mark stands in quotes of the command's own.
enum Mark : char { kText = 2, kDecimal, kHexadecimal, kOpen, kOr, kClose, kRepeat };

constexpr char kPlaceholders[] = {kText, kDecimal, kHexadecimal, kOpen, kOr, kClose, kRepeat, 0};

constexpr struct {
  const char *spelling;
  char mark;
} kMarks[] = {
    {"%s", kText}, {"%d", kDecimal}, {"%x", kHexadecimal}, {"[[", kOpen},
    {"||", kOr},   {"]]*", kRepeat}, {"]]", kClose},       {"\\x20", ' '},
};

constexpr struct {
  char mark;
  const char *expression;
} kExpressions[] = {
    {kText, "[A-Za-z0-9_@%+=:,./\x80-\xff-]*"},
    {kText | '\x80', "[\x80-\xff]*"},
    {kDecimal, "-?[0-9]+"},
    {kDecimal | '\x80', "\xad?[\xb0-\xb9]+"},
    {kHexadecimal, "[0-9a-f]+"},
    {kOpen, "("},
    {kOr, "|"},
    {kClose, ")"},
    {kRepeat, ")*"},
};

std::string withMarks(std::string text) {
  for (const auto &[spelling, mark] : kMarks) {
    size_t length = std::string(spelling).size();
    for (size_t at = 0; (at = text.find(spelling, at)) != std::string::npos; at++) {
      text.replace(at, length, 1, mark);
    }
  }
  return text;
}

std::string expressionFor(char c) {
  for (const auto &[mark, expression] : kExpressions) {
    if (c == mark) return expression;
  }
  return (std::string("\\^$.[]|()*+?{}").find(c) != std::string::npos ? "\\" : "") +
         std::string(1, c);
}

// A word that is a value from its beginning is no option, quoted or not.
constexpr char kNoOption[] =
    "\x80*([A-Za-z0-9_@%+=:,./\x81-\xac\xae-\xff][A-Za-z0-9_@%+=:,./\x80-\xff-]*)?";

std::string expressionOf(const std::string &form) {
  std::string expression;
  char before = ' ';
  for (char c : form) {
    expression += c == kText && before == ' ' ? kNoOption : expressionFor(c);
    before = c;
  }
  return expression;
}

void compile(regex_t &compiled, const std::string &expression) {
  int error = regcomp(&compiled, ("^(" + expression + ")$").c_str(), REG_EXTENDED | REG_NOSUB);
  if (error != 0) throw std::runtime_error("no expression: " + expression);
}

// What a form spells out before its first mark.
std::string frontOf(const std::string &form) {
  auto isMark = [](char c) {
    return strchr(kPlaceholders, c & 0x7f) != nullptr && (c & 0x7f) != 0;
  };
  return {form.begin(), std::find_if(form.begin(), form.end(), isMark)};
}

bool fits(const regex_t &expression, const std::string &form) {
  return regexec(&expression, form.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace

CommandList::CommandList(const std::string &path) {
  std::ifstream file(path);
  std::string text;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] == '\t') {
      text += line.substr(1);
      continue;
    }
    add(text);
    text = line;
  }
  add(text);
  if (commands_.empty()) throw std::runtime_error(path + ": lists no commands");
}

CommandList::~CommandList() {
  for (Command &command : commands_) regfree(&command.line), regfree(&command.pipe);
}

void CommandList::add(const std::string &text) {
  if (text.empty() || text[0] == '#') return;
  std::optional<std::string> form = sim::shellForm(withMarks(text), kPlaceholders);
  if (!form) throw std::runtime_error("no command: " + text);
  Command &command = commands_.emplace_back();
  command.text = text;
  command.seen = false;
  std::string whole = expressionOf(*form);
  compile(command.line, whole + "( 1>/dev/null 2>&1( &)?)?");
  // The producer alone of a line that goes to a file.
  size_t arrow = form->rfind('>');
  bool to_file = arrow != std::string::npos && form->find("2>&1") == std::string::npos;
  if (to_file && (*form)[arrow - 1] == '>') arrow--;
  std::string producer = to_file ? "|" + expressionOf(form->substr(0, arrow)) : "";
  compile(command.pipe, whole + producer);
  command.front = frontOf(to_file ? form->substr(0, arrow) : *form);
  // What is spelled out goes before what only fits.
  std::vector<Command *> &known = by_program_[text.substr(0, text.find_first_of(" ["))];
  known.insert(text.find('%') == std::string::npos ? known.begin() : known.end(), &command);
}

bool CommandList::passes(const std::string &line, bool piped) {
  std::unordered_set<std::string> &passed = passed_[piped ? 1 : 0];
  if (passed.count(line) != 0) return true;
  std::optional<std::string> form = sim::shellForm(line);
  if (!form) return false;
  auto found = by_program_.find(std::string_view(*form).substr(0, form->find(' ')));
  if (found == by_program_.end()) return false;
  for (Command *command : found->second) {
    if (form->compare(0, command->front.size(), command->front) != 0) continue;
    if (!fits(piped ? command->pipe : command->line, *form)) continue;
    command->seen = true;
    // Lines that hold no changing value come again and again.
    if (passed.size() < 10000) passed.insert(line);
    return true;
  }
  return false;
}

std::vector<std::string> CommandList::unseen() const {
  std::vector<std::string> texts;
  for (const Command &command : commands_) {
    if (!command.seen) texts.push_back(command.text);
  }
  return texts;
}

std::set<std::string> CommandList::programs() const {
  std::set<std::string> names;
  for (const Command &command : commands_) {
    const std::string form = *sim::shellForm(withMarks(command.text), kPlaceholders);
    for (size_t at = 0; at != std::string::npos; at = form.find_first_of("|;`", at)) {
      at = form.find_first_not_of("|;` ", at);
      if (at == std::string::npos) break;
      names.insert(form.substr(at, form.find_first_of(" |;`", at) - at));
    }
  }
  return names;
}

CommandList &libraryCommands() {
  static CommandList list(ORBA_COMMANDS);
  return list;
}

}  // namespace orba::fuzz
