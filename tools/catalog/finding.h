// What is wrong with a setting, in words that the person at the web page could act on.
#ifndef ORBA_TOOLS_CATALOG_FINDING_H
#define ORBA_TOOLS_CATALOG_FINDING_H

#include <string>

namespace orba::tool {

struct Finding {
  std::string key;
  int space = 1;
  int record = 0;  // from 1; 0 for the setting as a whole
  int field = 0;   // from 1; 0 for the record as a whole
  std::string value;
  std::string reason;
  std::string effect;
  // Of findings about packets: what stands before it, and a packet that shows it.
  std::string blocker = {};
  std::string witness = {};

  // What the table of settings calls the field; empty without one.
  std::string fieldName() const;
  // "IPPortFilterRules, record 2, field 1 (source address): "10.0.0.300" is not ..."
  std::string line() const;
};

}  // namespace orba::tool

#endif
