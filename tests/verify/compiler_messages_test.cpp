#include "siminfo/verify/compiler_messages.h"

#include <gtest/gtest.h>

namespace siminfo {
namespace {

/// Two compilers' ways of saying it, in a file of a difficult name.
TEST(CompilerMessages, AreReadBehindAnyName) {
  const std::string name = "/a \"b\":1:2: error: c/fab1_generated.cpp";
  const CompilerMessages found(name + ": In member function 'void Fab1::SW::setNodeInfo()':\n" + name +
                                   ":12:5: error: 'x' was not declared\n" + name +
                                   ":13: fatal error: gone\n" + name +
                                   ":14:1: note: error: none\nprobe:3:1: error: elsewhere\n",
                               name);
  ASSERT_EQ(found.errors.size(), 2U);
  EXPECT_EQ(found.errors[0].line, 12U);
  EXPECT_EQ(found.errors[0].words, "'x' was not declared");
  EXPECT_EQ(found.errors[1].line, 13U);
  EXPECT_EQ(found.errors[1].words, "gone");
  EXPECT_EQ(CompilerMessages("ld: undefined reference\ncollect2: error: ld\n", name).anything,
            "collect2: error: ld");
  EXPECT_EQ(CompilerMessages("", name).anything, "the compiler failed without a message");
}

}  // namespace
}  // namespace siminfo
