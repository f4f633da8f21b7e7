#include "siminfo/collect/names.h"

#include <gtest/gtest.h>

#include <set>

#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

std::vector<std::string> namesOf(const std::vector<std::string>& descriptions) {
  std::vector<WalkedNode> nodes(descriptions.size());
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    nodes[i].guid = i + 1;
    nodes[i].description = descriptions[i];
  }
  return nodeNames(nodes);
}

TEST(CollectText, IsSafeWhateverTheBytesAre) {
  using namespace std::string_literals;
  const std::vector<std::pair<std::string, std::string>> cases{
      {"sw1", "sw1"},
      {"Z\u00fcrich \"1\"", "Z\u00fcrich \"1\""},
      {" padded  ", "padded"},
      {"line\nfeed\x1b[2J", "line_feed_[2J"},
      {"\xff\xfe", "__"},
      {"cut \xe2\x80", "cut __"},
      {"ends\\", "ends_"},
      {"ends \\  ", "ends _"},
      {"ends?\?/ ", "ends?\?_"},
      {"\xe2\x80\xa8", "_"},
      {"   ", ""},
  };
  for (const auto& [text, name] : cases) {
    EXPECT_EQ(cleanName(text), name);
    EXPECT_EQ(textFault(cleanName(text)), "") << name;
    EXPECT_EQ(textFault(safeText(text)), "") << safeText(text);
    EXPECT_EQ(safeText(text) == text, textFault(text).empty()) << safeText(text);
  }
  EXPECT_EQ(safeText("ends \\  "), "ends \\u{005c}  ");
  EXPECT_EQ(safeText("a\x1b\xff"), "a\\u{001b}\\u{00ff}");
}

TEST(CollectNames, AreUniqueWhateverDevicesCallThemselves) {
  const std::string one = " 0x0000000000000001";
  const std::string two = " 0x0000000000000002";
  EXPECT_EQ(namesOf({"a", "b", ""}), (std::vector<std::string>{"a", "b", "0x0000000000000003"}));
  EXPECT_EQ(namesOf({"a", "a\t", "a"}), (std::vector<std::string>{"a" + one, "a_", "a 0x0000000000000003"}));
  // One that calls itself what another one would be called by.
  const std::vector<std::string> hostile =
      namesOf({"a", "a", "a" + one, "a" + one + one, "0x0000000000000006", ""});
  EXPECT_EQ(std::set(hostile.begin(), hostile.end()).size(), hostile.size());
  EXPECT_EQ(hostile[1], "a" + two);
}

}  // namespace
}  // namespace siminfo
