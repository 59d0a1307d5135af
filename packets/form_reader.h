// What reading a rule of iptables and of ebtables has in common.
#ifndef ORBA_PACKETS_FORM_READER_H
#define ORBA_PACKETS_FORM_READER_H

#include <set>
#include <string>
#include <vector>

#include "packets/forms.h"
#include "packets/values.h"

namespace packets {

class FormReader {
 public:
  FormReader(const std::vector<std::string> &words, const FormContext &context, Rule &rule)
      : words_(words), context_(context), rule_(rule) {}

 protected:
  // The next option without its value, empty at the end: takes the negation in front of it.
  std::string nextOption();
  // Its value, behind the older dialect's negation.
  Refused value(std::string &text);
  // The condition that a field is one of some values, or none of them.
  void add(FieldId field, const IntervalSet &values);
  Refused addAddresses(FieldId field, const std::string &option, const std::string &text);
  // What it asks for cannot be known.
  void ask(const std::string &words);

  const std::vector<std::string> &words_;
  const FormContext &context_;
  Rule &rule_;
  size_t next_ = 0;
  bool negated_ = false;
};

}  // namespace packets

#endif
