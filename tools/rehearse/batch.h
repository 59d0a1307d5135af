// The protocol between versions: one line of JSON in, one out. docs/rehearsal.md tells of its
// fields, which stay as they are.
#ifndef ORBA_TOOLS_REHEARSE_BATCH_H
#define ORBA_TOOLS_REHEARSE_BATCH_H

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/play/recording.h"

namespace orba::tool {

// A request or an answer as its line.
std::string lineOf(const nlohmann::ordered_json &value);

// Answers the lines of standard input on standard output, in their order, until the end.
void answerBatch(const Prepare &prepare, size_t jobs);

}  // namespace orba::tool

#endif
