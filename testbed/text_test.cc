#include "testbed/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

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

TEST(TextTest, KnowsWhatTheBusTakes) {
  for (const char* good :
       {"", "plain", "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
        "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(IsBusString(good)) << good;
  }
  for (const char* bad :
       {"\x80", "\xc2", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
        "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf8\x88", "a\xff", "\xe2\x82", "\xe2(\xa1"}) {
    EXPECT_FALSE(IsBusString(bad)) << bad;
  }
  EXPECT_FALSE(IsBusString(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace orvane::testbed
