// The names of the installed layer-7 patterns.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

namespace {

struct Patterns : sim::Device {
  Patterns &add(const std::string &name, const std::string &content) {
    file("/etc_ro/l7-protocols/" + name, content);
    return *this;
  }
};

}  // namespace

TEST(Layer7Names, APatternFileGivesNameAndDescription) {
  Patterns device;
  device.add("foo.pat", "# Foo - bar baz\npattern - other\n");
  device.add("readme", "# No - pattern\n");
  device.add(".hidden.pat", "# No - pattern\n");
  LoadLayer7FilterName();
  EXPECT_STREQ(l7name, "foo#Foo#bar baz");

  // In the directory's order, whichever that is; the name is cut at ".pat".
  device.add("two.pattern", "# Two - 2\n");
  std::string output(8192, '#');
  EXPECT_EQ(getLayer7Filters(output.data()), 0);
  EXPECT_THAT(std::string(output.c_str()),
              testing::AnyOf("foo#Foo#bar baz;two#Two#2", "two#Two#2;foo#Foo#bar baz"));
  EXPECT_STREQ(l7name, output.c_str());
  EXPECT_EQ(device.printed(), "");

  sim::Device without_the_folder;
  EXPECT_EQ(getLayer7Filters(output.data()), 0);
  EXPECT_STREQ(output.c_str(), "");
  EXPECT_STREQ(l7name, "");
}

TEST(Layer7Names, OddFirstLines) {
  const char kNoName[] = "warning: can't find foo%s.pat name.\n";
  const char kNoIntro[] = "warning: can't find foo%s.pat intro.\n";
  const struct {
    std::string line;
    const char *pair, *printed;
  } kCases[] = {
      {"# Foo-bar\n", "Foo#ar", ""},  // what follows the dash is taken for its blank
      {"# A - b - c\n", "A#b - c", ""},
      {"#A - b\n", "#b", ""},  // the first two characters go, whatever they are
      {"- b\n", "#b", ""},
      {"# A -\n", "A#", ""},
      // What cannot be split is not available.
      {"", "N/A#N/A", "warning: can't read foo%s.pat intro.\n"},
      {"# no dash\n", "N/A#N/A", kNoName},
      {"# " + std::string(505, 'n') + "xxxx - late", "N/A#N/A", kNoName},
      {"# Foo - no newline", "N/A#N/A", kNoIntro},
      {"# Foo - " + std::string(2000, 'i') + "\n", "N/A#N/A", kNoIntro},
  };
  for (const auto &c : kCases) {
    Patterns device;
    device.add("foo%s.pat", c.line);
    LoadLayer7FilterName();
    EXPECT_EQ(l7name, std::string("foo%s#") + c.pair);
    EXPECT_EQ(device.printed(), c.printed);
  }
  // Who kept the pair of a file sees what the next one makes of it.
  Patterns next;
  next.add("foo.pat", "# Foo - bar\n").add("empty.pat", "").add("bare.pat", "# Bare - end");
  const char *pair = getNameIntroFromPat("foo.pat");
  EXPECT_EQ(getNameIntroFromPat("missing.pat"), nullptr);
  EXPECT_STREQ(pair, "Foo#bar");
  EXPECT_STREQ(getNameIntroFromPat("empty.pat"), "N/A#N/A");
  EXPECT_STREQ(pair, "");
  EXPECT_STREQ(getNameIntroFromPat("bare.pat"), "N/A#N/A");
  EXPECT_STREQ(pair, "Bare#");
  std::string longest = std::string(251, 'l') + ".pat";
  next.add(longest, "# Longest - name\n");
  EXPECT_STREQ(getNameIntroFromPat(longest.c_str()), "Longest#name");
  Patterns device;
  device.add("foo.pat", "# Foo - bar\n").refuse("/etc_ro/l7-protocols/foo.pat");
  EXPECT_EQ(getNameIntroFromPat("foo.pat"), nullptr);
  EXPECT_EQ(getNameIntroFromPat(std::string(5000, 'x').c_str()), nullptr);
  LoadLayer7FilterName();
  EXPECT_STREQ(l7name, "foo#N/A#N/A");
}

TEST(Layer7Names, MorePatternsThanFitAreCut) {
  Patterns device;
  for (int i = 0; i < 40; i++) {
    device.add(std::to_string(i) + ".pat", "# Name - " + std::string(480, 'd') + "\n");
  }
  std::string output(8192, '#');
  getLayer7Filters(output.data());
  EXPECT_EQ(strlen(output.c_str()), 8191u);
  EXPECT_STREQ(l7name, output.c_str());
}
