#include "siminfo/text/text_rules.h"

#include <gtest/gtest.h>

#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

TEST(TextRules, KeepsWhatStaysOnItsLine) {
  for (const char* text : {"", "sw1", "host-1 HCA-1", "a\\b", "back\\ slash", "?\?/mid", "Zürich",
                           "*/ // \"'", "日本語", "\xf0\x9f\x98\x80"})
    EXPECT_EQ(textFault(text), "") << text;
}

TEST(TextRules, RefusesWhatLeavesItsLine) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {"a\nb"sv,
                                      "a\rb"sv,
                                      "\0"sv,
                                      "a\x1b[2J"sv,
                                      "\x7f"sv,
                                      "\xc2\x85"sv /* next line */,
                                      "\xe2\x80\xa8"sv /* line separator */,
                                      "\xe2\x80\xa9"sv,
                                      "\xe2\x80\xae"sv /* right-to-left override */,
                                      "\xe2\x81\xa6"sv,
                                      "\xe2\x80\x8f"sv,
                                      "\xd8\x9c"sv,
                                      "ends\\"sv,
                                      "ends\\  "sv,
                                      "ends?\?/"sv,
                                      "ends?\?/ "sv,
                                      "\xff"sv,
                                      "cut\xe2\x80"sv,
                                      "\xed\xa0\x80"sv /* surrogate */,
                                      "\xc0\x8a"sv /* overlong line feed */})
    EXPECT_NE(textFault(text), "") << printable(text);
}

TEST(TextRules, RefusesNamesThatBeginAComment) {
  for (const char* name : {"a\" /*", "\"\"\"/*\"", "\"/**/"}) {
    EXPECT_NE(nameFault(name), "") << name;
    EXPECT_EQ(nameFault(cleanName(name)), "") << name;
    EXPECT_EQ(textFault(name), "") << name;
  }
  for (const char* name : {"a /*", "\"a\" /*", "/*\"", "\"//", "\" * /", "a/\"*"})
    EXPECT_EQ(nameFault(name), "") << name;
  EXPECT_NE(nameFault("a\\"), "");
}

TEST(Quoting, EndsWhereTheTextEnds) {
  using namespace std::string_view_literals;
  const std::string_view hostile =
      "a\"b\\\n\x01"
      "1?\?/\\"sv;
  EXPECT_EQ(jsonString(hostile), "\"a\\\"b\\\\\\u000a\\u00011?\?/\\\\\"");
  EXPECT_EQ(cppString(hostile), "\"a\\\"b\\\\\\012\\0011?\\?/\\\\\"");
  EXPECT_EQ(inQuotes("a\"\x1b"), "\"a\\u{0022}\\u{001b}\"");
}

TEST(TextRules, PrintsOnATerminalWithoutControls) {
  EXPECT_EQ(printable("a\x1b[2J\"\xff"), "a\\u{001b}[2J\\u{0022}\\u{00ff}");
}

}  // namespace
}  // namespace siminfo
