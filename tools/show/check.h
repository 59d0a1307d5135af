// What is wrong with a configuration, in words that the person at the web page
// could act on.
#ifndef ORBA_TOOLS_SHOW_CHECK_H
#define ORBA_TOOLS_SHOW_CHECK_H

#include <string>
#include <vector>

#include "sim/device.h"

namespace orba::tool {

struct Finding {
  std::string key;
  int space = 1;
  int record = 0;  // from 1; 0 for the setting as a whole
  int field = 0;   // from 1; 0 for the record as a whole
  std::string value;
  std::string reason;
  std::string effect;

  // What the table of settings calls the field; empty without one.
  std::string fieldName() const;
  // "IPPortFilterRules, record 2, field 1 (source address): "10.0.0.300" is not ..."
  std::string line() const;
};

// Looks through every list-valued setting with the very checks that the entry
// points make, and through every other setting for its form.
std::vector<Finding> checkSettings(sim::Device &device);

}  // namespace orba::tool

#endif
