// A misspelt setting would leave a test with the answer to another question: what
// a test gives the simulated device must be in the table of settings.
#include <gtest/gtest.h>

#include <set>

#include "sim/device.h"
#include "tools/catalog/settings.h"

namespace {

void mustBeKnown(int space, const std::string &key) {
  static std::set<std::pair<int, std::string>> known;
  if (known.count({space, key}) != 0) return;
  if (orba::tool::descriptionOf(key, space) == nullptr) {
    ADD_FAILURE() << "the library has no setting " << key << " in space " << space;
  }
  known.emplace(space, key);
}

[[maybe_unused]] const bool kWatched = [] {
  sim::Device::on_setting = mustBeKnown;
  return true;
}();

}  // namespace
