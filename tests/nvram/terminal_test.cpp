// What people are shown of texts from outside.
#include "terminal.h"

#include <gtest/gtest.h>

TEST(Terminal, IsNotToldWhatToDo) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain ~", "plain ~"},
      {"caf\u00e9 \u4f60 \U0001f600", "caf\u00e9 \u4f60 \U0001f600"},
      {"\x1b[31m\x7f\t", "\\x1b[31m\\x7f\\x09"},
      // Controls, soft hyphens, directions, joiners, marks and what is no character.
      {"\u0080\u009f\u00a0", "\\U00000080\\U0000009f\u00a0"},
      {"\u00ad\u061c\ufeff", "\\U000000ad\\U0000061c\\U0000feff"},
      {"\u200a\u200b\u200f\u2010", "\u200a\\U0000200b\\U0000200f\u2010"},
      {"\u2027\u2028\u202e\u202f", "\u2027\\U00002028\\U0000202e\u202f"},
      {"\u2060\u206f\u2070", "\\U00002060\\U0000206f\u2070"},
      {"\ufff8\ufff9\ufffb\ufffd", "\ufff8\\U0000fff9\\U0000fffb\ufffd"},
      {"\xef\xbf\xbe\xf0\x9f\xbf\xbf", "\\U0000fffe\\U0001ffff"},
      {"\U000e0000\U000e007f\U000e0080", "\\U000e0000\\U000e007f\U000e0080"},
      // No UTF-8: alone, cut off, longer than need be, a surrogate, beyond the last.
      {"\x9b\xc3", "\\x9b\\xc3"},
      {"\xe2\x80z", "\\xe2\\x80z"},
      {"\xc1\xbf\xe0\x9f\xbf\xf0\x8f\xbf\xbf", "\\xc1\\xbf\\xe0\\x9f\\xbf\\xf0\\x8f\\xbf\\xbf"},
      {"\xed\x9f\xbf\xed\xa0\x80\xee\x80\x80", "\xed\x9f\xbf\\xed\\xa0\\x80\xee\x80\x80"},
      {"\xf4\x8f\xbf\xbd\xf4\x90\x80\x80\xf5", "\xf4\x8f\xbf\xbd\\xf4\\x90\\x80\\x80\\xf5"}};
  for (const auto &[text, shown] : cases) EXPECT_EQ(nvram::visible(text), shown);
}
