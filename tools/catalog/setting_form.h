// What the value of a setting may be, as data: 'orba check', 'orba explain', the
// reference, the page and the values that are tried all read it from here.
#ifndef ORBA_TOOLS_CATALOG_SETTING_FORM_H
#define ORBA_TOOLS_CATALOG_SETTING_FORM_H

#include <string>
#include <vector>

namespace orba::tool {

// How the programs that get a text take it.
enum class Use { kText, kWord, kHost, kInterface };

struct Choice {
  std::string value;
  std::string meaning = {};
};

struct Field;

struct Form {
  enum Kind {
    kAny,           // any text; `words` say what is meant
    kChoice,        // one of `choices`
    kNumber,        // digits that are a number from `from` to `to`
    kCapitals,      // capital letters and digits
    kAddress,       // IPv4
    kAddressRange,  // "a-b"
    kNetwork,       // an address, or one with "/" and a netmask, or "any/0"
    kNetmask,       // an address or a prefix length
    kMac,
    kInterface,   // the name of one interface
    kNoOption,    // anything that no program takes for an option
    kPerNetwork,  // a value of the one field's form for each network of the radio
    kRecord,      // `fields`
    kRecords,     // a list of such records, which are checked one by one
  };
  Kind kind = kAny;
  // Where the kind's own words do not say what the value is; "%d" in those of a
  // number are its bounds. Of a record how many fields it has, of a list what its
  // records are.
  std::string words = {};
  Use use = Use::kText;
  std::vector<Choice> choices = {};
  int from = 0;
  int to = 0;
  int least_digits = 1;
  bool leading_zeros = false;  // as many as make it no longer than `to`
  std::vector<Field> fields;
  char field_separator = '\0';   // none: one field
  char record_separator = '\0';  // none: one record

  // Whether there are values that are not of the form. The records of a list are
  // looked at one by one, by their fields' forms.
  bool limits() const { return kind != kAny && kind != kRecords; }
  bool matches(const std::string &value) const;
  // As they stand behind "is" or "is not".
  std::string inWords() const;
  // All values, of a choice or a number of one digit; none of any other form.
  std::vector<std::string> values() const;
  // By its number in a record, from 1; null when no field has it.
  const Field *field(int number) const;
  // "2 netmask: an IPv4 address (255.255.255.255: a host)", one for each named field.
  std::vector<std::string> fieldLines() const;
};

// One field of a record, or `count` of a kind that follow each other.
struct Field {
  std::string name = {};
  Form form = {};
  std::string meaning = {};
  int count = 1;
};

}  // namespace orba::tool

#endif
