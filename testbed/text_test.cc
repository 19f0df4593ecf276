#include "testbed/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvane::testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TextTest, SplitsLines) {
  EXPECT_THAT(SplitLines("a\n\nb"), ElementsAre("a", "", "b"));
  EXPECT_THAT(SplitLines("a\n"), ElementsAre("a"));
  EXPECT_THAT(SplitLines("\n"), ElementsAre(""));
  EXPECT_THAT(SplitLines(""), IsEmpty());
}

TEST(TextTest, TakesWordsAndTheBlanksBehind) {
  std::string_view text = "one  two three ";
  EXPECT_EQ(TakeWord(&text), "one");
  EXPECT_EQ(text, "two three ");
  EXPECT_EQ(TakeWord(&text), "two");
  EXPECT_EQ(TakeWord(&text), "three");
  EXPECT_EQ(TakeWord(&text), "");
}

}  // namespace
}  // namespace orvane::testbed
