#include "platform/location.h"

#include <gtest/gtest.h>

namespace orvane::platform {
namespace {

Location WhereFrom(Location from = Location::Current()) { return from; }

TEST(LocationTest, NamesTheCallerAsADefaultArgument) {
  const Location from = WhereFrom();
  const int line_of_the_call = __LINE__ - 1;
  EXPECT_STREQ(from.function, "TestBody");
  EXPECT_STREQ(from.file, "platform/location_test.cc");
  EXPECT_EQ(from.line, line_of_the_call);
}

}  // namespace
}  // namespace orvane::platform
