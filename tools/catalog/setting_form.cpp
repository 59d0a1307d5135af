#include "tools/catalog/setting_form.h"

#include <arpa/inet.h>

#include <algorithm>

#include "orba_util.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr char kDigits[] = "0123456789";

bool hasOnly(const std::string &text, const std::string &characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

bool isCapitals(const std::string &text) {
  return hasOnly(text, std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ") + kDigits);
}

bool isAddress(const std::string &text) {
  in_addr address;
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isPrefixLength(const std::string &text) {
  return text.size() <= 2 && hasOnly(text, kDigits) && std::stoi(text) <= 32;
}

bool isNetmask(const std::string &text) {
  return isAddress(text) || isPrefixLength(text);
}

// Without its "/0" even "any" is a name.
bool isNetwork(const std::string &text) {
  size_t slash = text.find('/');
  if (slash == std::string::npos) return isAddress(text);
  return text == "any/0" || (isAddress(text.substr(0, slash)) && isNetmask(text.substr(slash + 1)));
}

bool isRangeOfAddresses(const std::string &text) {
  size_t dash = text.find('-');
  return dash != std::string::npos && isAddress(text.substr(0, dash)) &&
         isAddress(text.substr(dash + 1));
}

bool isMac(const std::string &text) {
  return isMacValid(text.c_str()) != 0;
}

bool isNoOption(const std::string &text) {
  return text[0] != '-';
}

bool isInterface(const std::string &text) {
  return isNoOption(text) && text.find_first_of("!+ /") == std::string::npos;
}

// The kinds that need nothing but the text.
struct Plain {
  Form::Kind kind;
  const char *words;
  bool (*holds)(const std::string &text);
};

constexpr Plain kPlain[] = {
    {Form::kCapitals, "a word in capitals", isCapitals},
    {Form::kAddress, "an IPv4 address", isAddress},
    {Form::kAddressRange, "a range of two IPv4 addresses", isRangeOfAddresses},
    {Form::kNetwork, "an IPv4 address or network", isNetwork},
    {Form::kNetmask, "a netmask", isNetmask},
    {Form::kMac, "a MAC address", isMac},
    {Form::kInterface, "the name of one interface", isInterface},
    {Form::kNoOption, "free of a \"-\" in front", isNoOption},
};

const Plain *plainOf(Form::Kind kind) {
  auto found = std::find_if(std::begin(kPlain), std::end(kPlain),
                            [&](const Plain &plain) { return plain.kind == kind; });
  return found == std::end(kPlain) ? nullptr : found;
}

bool isNumberOf(const Form &form, const std::string &text) {
  const size_t most_digits = std::to_string(form.to).size();
  if (!hasOnly(text, kDigits) || text.size() > most_digits) return false;
  if (text.size() < static_cast<size_t>(form.least_digits)) return false;
  if (!form.leading_zeros && text.size() > 1 && text[0] == '0') return false;
  int number = std::stoi(text);
  return form.from <= number && number <= form.to;
}

bool isRecordOf(const Form &form, const std::string &text) {
  const std::vector<std::string> parts = splitAt(text, form.field_separator);
  if (form.field(static_cast<int>(parts.size())) == nullptr) return false;
  if (form.field(static_cast<int>(parts.size()) + 1) != nullptr) return false;
  for (size_t i = 0; i < parts.size(); i++) {
    if (!form.field(static_cast<int>(i) + 1)->form.matches(parts[i])) return false;
  }
  return true;
}

// "1, 2 (relay) or 3".
std::string choicesInWords(const std::vector<Choice> &choices) {
  std::string text;
  for (size_t i = 0; i < choices.size(); i++) {
    if (i > 0) text += i + 1 < choices.size() ? ", " : " or ";
    text += choices[i].value;
    if (!choices[i].meaning.empty()) text += " (" + choices[i].meaning + ")";
  }
  return text;
}

std::string withBounds(const Form &form) {
  std::string text = form.words;
  for (int bound : {form.from, form.to}) {
    size_t at = text.find("%d");
    if (at != std::string::npos) text.replace(at, 2, std::to_string(bound));
  }
  return text;
}

std::string quoted(char separator) {
  return std::string("\"") + separator + "\"";
}

std::string listInWords(const Form &form) {
  std::string text = "a list of " + (form.words.empty() ? "records" : form.words) + ", " +
                     quoted(form.record_separator) + " between them";
  if (form.field_separator == '\0') return text;
  return text + " and " + quoted(form.field_separator) + " between their fields";
}

std::string recordInWords(const Form &form) {
  std::string names;
  for (const Field &field : form.fields) names += (names.empty() ? "" : ", ") + field.name;
  return form.words + ": " + names;
}

}  // namespace

bool Form::matches(const std::string &value) const {
  if (const Plain *plain = plainOf(kind)) return plain->holds(value);
  switch (kind) {
    case kChoice:
      return std::any_of(choices.begin(), choices.end(),
                         [&](const Choice &choice) { return choice.value == value; });
    case kNumber:
      return isNumberOf(*this, value);
    case kPerNetwork: {
      const std::vector<std::string> parts = splitAt(value, record_separator);
      return std::all_of(parts.begin(), parts.end(), [&](const std::string &part) {
        return fields.front().form.matches(part);
      });
    }
    case kRecord:
      return isRecordOf(*this, value);
    default:
      return true;
  }
}

std::string Form::inWords() const {
  if (kind == kRecords) return listInWords(*this);
  if (kind == kRecord) return recordInWords(*this);
  if (!words.empty()) return withBounds(*this);
  if (kind == kPerNetwork) {
    return fields.front().form.inWords() + " for each network, separated by semicolons";
  }
  if (const Plain *plain = plainOf(kind)) return plain->words;
  return choicesInWords(choices);
}

std::vector<std::string> Form::values() const {
  std::vector<std::string> all;
  for (const Choice &choice : choices) all.push_back(choice.value);
  for (int number = from; kind == kNumber && to <= 9 && number <= to; number++) {
    all.push_back(std::to_string(number));
  }
  return all;
}

const Field *Form::field(int number) const {
  for (const Field &field : fields) {
    if (number >= 1 && number <= field.count) return &field;
    number -= field.count;
  }
  return nullptr;
}

std::vector<std::string> Form::fieldLines() const {
  std::vector<std::string> lines;
  int number = 1;
  for (const Field &field : fields) {
    if (field.name.empty()) continue;
    std::string line = std::to_string(number);
    if (field.count > 1) line += " to " + std::to_string(number + field.count - 1);
    line += " " + field.name;
    const std::string form = field.form.inWords();
    if (!form.empty()) line += ": " + form;
    if (!field.meaning.empty()) line += " (" + field.meaning + ")";
    lines.push_back(line);
    number += field.count;
  }
  return lines;
}

}  // namespace orba::tool
