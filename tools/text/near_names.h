// Names that somebody may have meant who typed another one.
#ifndef ORBA_TOOLS_TEXT_NEAR_NAMES_H
#define ORBA_TOOLS_TEXT_NEAR_NAMES_H

#include <string>
#include <vector>

namespace orba::tool {

// Those of `names` that differ in a few letters, or hold all that was typed, whatever their
// case; the nearest first, and at most eight.
std::vector<std::string> nearNames(const std::string &typed, const std::vector<std::string> &names);

// The one of `names` that `typed` was most likely to be, empty for none: one or two letters differ,
// or the case of some, and never a number.
std::string misspeltName(const std::string &typed, const std::vector<std::string> &names);

// "; did you mean A, B?", or "; " and `otherwise` when nothing is near.
std::string didYouMean(const std::string &typed, const std::vector<std::string> &names,
                       const std::string &otherwise);

}  // namespace orba::tool

#endif
