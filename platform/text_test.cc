#include "platform/text.h"

#include <gtest/gtest.h>

namespace orvane::platform {
namespace {

TEST(TextTest, TrimsEveryKindOfWhitespaceAtBothEnds) {
  EXPECT_EQ(TrimWhitespace(" \t\n\v\f\ra b\r\f\v\n\t "), "a b");
  EXPECT_EQ(TrimWhitespace("a"), "a");
  EXPECT_EQ(TrimWhitespace("a "), "a");
  EXPECT_EQ(TrimWhitespace(" a"), "a");
}

TEST(TextTest, BlankTextIsTrimmedToNothing) {
  EXPECT_EQ(TrimWhitespace(""), "");
  EXPECT_EQ(TrimWhitespace(" \t "), "");
}

}  // namespace
}  // namespace orvane::platform
