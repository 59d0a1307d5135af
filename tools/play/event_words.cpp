#include "tools/play/event_words.h"

namespace orba::tool {

namespace {

using sim::Event;

struct Wording {
  const char *in_json;
  const char *in_text;
};

Wording wordingOf(Event::Kind kind) {
  switch (kind) {
    case Event::kCommand:
      return {"command", ""};
    case Event::kPipe:
      return {"read", "reads"};
    case Event::kSet:
    case Event::kBufset:
      return {"set", "sets"};
    case Event::kCommit:
      return {"commit", "commits space"};
    case Event::kConsole:
      return {"console", "console"};
    case Event::kPrinted:
      return {"printed", "prints"};
    case Event::kError:
      return {"error", "prints on standard error"};
    case Event::kFile:
      return {"file", "writes"};
    case Event::kRemoved:
      return {"removed", "removes"};
    case Event::kTimer:
      return {"timer", "timer"};
    case Event::kSleep:
      return {"sleep", "sleeps"};
    case Event::kSignal:
      return {"signal", "sends signal"};
    case Event::kRequest:
      return {"request", "driver"};
  }
  return {"", ""};
}

}  // namespace

const char *nameOf(Event::Kind kind) {
  return wordingOf(kind).in_json;
}

std::string inWords(const Event &event) {
  std::string what = wordingOf(event.kind).in_text;
  return what.empty() ? event.text : what + ": " + event.text;
}

}  // namespace orba::tool
