#include "packets/form_reader.h"

namespace packets {

std::string FormReader::nextOption() {
  negated_ = false;
  if (next_ < words_.size() && words_[next_] == "!") {
    negated_ = true;
    next_++;
  }
  return next_ < words_.size() ? words_[next_++] : "";
}

Refused FormReader::value(std::string &text) {
  const std::string option = words_[next_ - 1];
  if (next_ < words_.size() && words_[next_] == "!") {
    negated_ = true;
    next_++;
  }
  if (next_ == words_.size()) return option + " has no value";
  text = words_[next_++];
  return std::nullopt;
}

void FormReader::add(FieldId field, const IntervalSet &values) {
  rule_.conditions.push_back({field, negated_ ? values.complement(largestOf(field)) : values});
}

Refused FormReader::addAddresses(FieldId field, const std::string &option,
                                 const std::string &text) {
  IntervalSet values;
  bool pieces;
  if (Refused why = readAddresses(text, values, pieces)) return why;
  if (negated_ && text.find(',') != std::string::npos) return "! with more than one address";
  if (pieces) {
    ask((negated_ ? "! " : "") + option + " " + text);
  } else {
    add(field, values);
  }
  return std::nullopt;
}

void FormReader::ask(const std::string &words) {
  rule_.conditions.push_back({context_.question(words), IntervalSet::one(1)});
}

}  // namespace packets
