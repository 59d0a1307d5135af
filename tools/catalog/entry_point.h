// The room tools/catalog: what there is, as tables: the library's entry points, the
// words to try them with, every setting with its form. What is done with them is
// another room's.
//
// The table of entry points, and how words from a command line reach them.
#ifndef ORBA_TOOLS_CATALOG_ENTRY_POINT_H
#define ORBA_TOOLS_CATALOG_ENTRY_POINT_H

#include <ctime>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace orba::tool {

// What a word on the command line should have been.
struct BadArgument : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What an entry point answered.
struct CallResult {
  std::string returned;              // empty for none
  std::vector<std::string> outputs;  // the texts it left in its output buffers
};

struct Parameter {
  std::string name;
  bool output = false;  // a buffer for an answer, not a word of the command line
  bool both = false;    // a word that is changed in place
  bool hidden = false;  // nothing that a command line could say

  bool isWord() const { return !output && !hidden; }
};

struct EntryPoint {
  const char *subsystem;
  const char *name;
  std::vector<Parameter> parameters;
  const char *line;
  bool any_words = false;  // takes whatever words a web page would give
  std::function<CallResult(const std::vector<std::string> &)> call;

  // "getIfIp IFNAME"
  std::string usage() const;
  // Throws BadArgument when the words are not what the entry point takes.
  void checkWords(const std::vector<std::string> &words) const;
};

const std::vector<EntryPoint> &entryPoints();
// Throws BadArgument, with near names, when there is none.
const EntryPoint &entryPointNamed(const std::string &name);

int numberFrom(const Parameter &parameter, const std::string &word);
tm timeFrom(const Parameter &parameter, const std::string &word);

// The largest answer of any getter, with room to see one that goes beyond.
constexpr size_t kOutputSize = size_t{16} * 1024;

// What a caller has left in the buffers that it hands over for an answer.
inline std::string left_in_outputs;

// A copy of a word as a program has it: an array of its very length, so that a
// sanitizer sees whoever reads or writes beyond.
inline std::unique_ptr<char[]> arrayOf(const std::string &word) {
  auto array = std::make_unique<char[]>(word.size() + 1);
  word.copy(array.get(), word.size());
  return array;
}

// One argument of each C type, made from a word and kept while the call lasts.
template <typename T>
class Argument;

template <typename T>
requires std::is_integral_v<T>
class Argument<T> {
 public:
  Argument(const Parameter &parameter, const std::string *word)
      : value_(static_cast<T>(numberFrom(parameter, *word))) {}
  T get() { return value_; }
  void collect(CallResult &) {}

 private:
  T value_;
};

template <>
class Argument<const char *> {
 public:
  Argument(const Parameter &, const std::string *word) : word_(arrayOf(*word)) {}
  const char *get() { return word_.get(); }
  void collect(CallResult &) {}

 private:
  std::unique_ptr<char[]> word_;
};

template <>
class Argument<char *> {
 public:
  Argument(const Parameter &parameter, const std::string *word)
      : reported_(parameter.output || parameter.both), buffer_(kOutputSize) {
    const std::string &text = word != nullptr ? *word : left_in_outputs;
    text.copy(buffer_.data(), kOutputSize - 1);
  }
  char *get() { return buffer_.data(); }
  void collect(CallResult &result) {
    if (reported_) result.outputs.emplace_back(buffer_.data());
  }

 private:
  bool reported_;
  std::vector<char> buffer_;
};

template <>
class Argument<unsigned char *> {
 public:
  Argument(const Parameter &parameter, const std::string *word) : bytes_(parameter, word) {}
  unsigned char *get() { return reinterpret_cast<unsigned char *>(bytes_.get()); }
  void collect(CallResult &result) { bytes_.collect(result); }

 private:
  Argument<char *> bytes_;
};

template <>
class Argument<const unsigned char *> {
 public:
  Argument(const Parameter &, const std::string *word) : word_(arrayOf(*word)) {}
  const unsigned char *get() { return reinterpret_cast<const unsigned char *>(word_.get()); }
  void collect(CallResult &) {}

 private:
  std::unique_ptr<char[]> word_;
};

template <>
class Argument<tm> {
 public:
  Argument(const Parameter &parameter, const std::string *word)
      : value_(timeFrom(parameter, *word)) {}
  tm get() { return value_; }
  void collect(CallResult &) {}

 private:
  tm value_;
};

// A timer's handler: there is nothing to call from a command line.
template <>
class Argument<void (*)(int)> {
 public:
  Argument(const Parameter &, const std::string *) {}
  auto get() {
    return +[](int) {};
  }
  void collect(CallResult &) {}
};

std::vector<Parameter> parametersFrom(const char *names);

template <typename R>
std::string returnedText(R value) {
  if constexpr (std::is_convertible_v<R, const char *>) {
    return value == nullptr ? "(null)" : value;
  } else if constexpr (std::is_integral_v<R>) {
    return std::to_string(value);
  } else {
    return {};  // a record of the library's own
  }
}

// Derives from a function's type how its words are read. `names` has one name
// for each argument, with ">" in front of an output buffer, "=" in front of a
// text that is changed in place and "*" in front of what no word can give.
template <typename R, typename... Ts>
EntryPoint entry(const char *subsystem, const char *name, R (*function)(Ts...), const char *names,
                 const char *line) {
  std::vector<Parameter> parameters = parametersFrom(names);
  if (parameters.size() != sizeof...(Ts)) {
    throw std::logic_error(std::string(name) + ": as many names as arguments are wanted");
  }
  auto call = [function, parameters](const std::vector<std::string> &words) {
    size_t next_parameter = 0, next_word = 0;
    [[maybe_unused]] auto make = [&]<typename T>(std::type_identity<T>) {
      const Parameter &parameter = parameters[next_parameter++];
      const std::string *word = parameter.isWord() ? &words.at(next_word++) : nullptr;
      return std::make_unique<Argument<T>>(parameter, word);
    };
    // Braces, because their order of evaluation is from left to right.
    std::tuple<std::unique_ptr<Argument<std::decay_t<Ts>>>...> arguments{
        make(std::type_identity<std::decay_t<Ts>>())...};
    CallResult result;
    std::apply(
        [&](auto &...argument) {
          if constexpr (std::is_void_v<R>) {
            function(argument->get()...);
          } else {
            result.returned = returnedText(function(argument->get()...));
          }
          (argument->collect(result), ...);
        },
        arguments);
    return result;
  };
  return {subsystem, name, parameters, line, false, call};
}

// A web getter: an output buffer and as many words as the page would give.
EntryPoint entry(const char *subsystem, const char *name, int (*getter)(char *, int, char **),
                 const char *names, const char *line);

}  // namespace orba::tool

#endif
