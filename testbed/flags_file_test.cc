#include "testbed/flags_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace orvane::testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(FlagsFileTest, ReadsKeysAndValues) {
  const FlagsFile file = ParseFlagsFile(
      "# switches\n"
      "clientSteering=enabled\n"
      "\n"
      "  # indented\n"
      " clientSteeringInterval = 30 \r\n"
      "empty=\n"
      "formula=a=b#c");
  EXPECT_THAT(file.flags,
              ElementsAre(Pair("clientSteering", "enabled"), Pair("clientSteeringInterval", "30"),
                          Pair("empty", ""), Pair("formula", "a=b#c")));
  EXPECT_THAT(file.problems, IsEmpty());
}

TEST(FlagsFileTest, SkipsBadLinesAndReportsTheirNumbers) {
  const FlagsFile file = ParseFlagsFile(
      "a=1\n"
      "\n"
      "no separator\n"
      "=value\n"
      "a=2\n"
      "b=\xff\n" +
      std::string("b=\0\n", 4) + "c=3\n");
  EXPECT_THAT(file.flags, ElementsAre(Pair("a", "1"), Pair("c", "3")));
  EXPECT_THAT(file.problems,
              ElementsAre("line 3: no \"=\" in \"no separator\"", "line 4: no key before \"=\"",
                          "line 5: the key \"a\" again", "line 6: not UTF-8", "line 7: not UTF-8"));
}

TEST(FlagsFileTest, NothingGivesNothing) {
  EXPECT_THAT(ParseFlagsFile("").flags, IsEmpty());
  EXPECT_THAT(ParseFlagsFile("").problems, IsEmpty());
}

}  // namespace
}  // namespace orvane::testbed
