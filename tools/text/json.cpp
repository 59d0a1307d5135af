#include "tools/text/json.h"

#include <unistd.h>

#include <nlohmann/json.hpp>

namespace orba::tool {

std::string dumped(const nlohmann::ordered_json &value, bool ascii) {
  return value.dump(2, ' ', ascii, nlohmann::ordered_json::error_handler_t::replace);
}

void printJson(std::ostream &out, const nlohmann::ordered_json &value) {
  out << dumped(value, isatty(STDOUT_FILENO) != 0) << "\n";
}

}  // namespace orba::tool
