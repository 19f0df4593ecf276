#include "tests/soak/log_book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvane::soak {
namespace {

testbed::LogLine Line(const std::string& severity, const std::string& text) {
  return {.severity = severity, .source = "file.cc:1", .text = text};
}

TEST(LogBookTest, AcceptsAllowedLines) {
  LogBook book;
  book.Allow("ERROR", "Send failed: ", 1);
  book.Allow("ERROR", "Send failed: ", 1);
  book.Allow("INFO", "Never", 1);
  book.Take(Line("ERROR", "Send failed: one"));
  book.Take(Line("ERROR", "Send failed: two"));
  EXPECT_EQ(book.Count("Send failed: "), 2U);
  const Check check = book.Judge();
  EXPECT_TRUE(check.holds) << check.finding;
  EXPECT_EQ(check.finding, "2 lines");
}

TEST(LogBookTest, ReportsALineMoreThanAllowed) {
  LogBook book;
  book.Allow("ERROR", "Send failed: ", 1);
  book.Take(Line("ERROR", "Send failed: one"));
  book.Take(Line("ERROR", "Send failed: two"));
  EXPECT_FALSE(book.Judge().holds);
  EXPECT_EQ(book.Judge().finding, "2 lines; \"Send failed: \" 2 times, at most 1");
}

TEST(LogBookTest, ReportsAnotherSeverityOrText) {
  LogBook book;
  book.Allow("WARNING", "A", 5);
  book.Take(Line("ERROR", "A"));
  book.Take(Line("WARNING", "B"));
  EXPECT_FALSE(book.Judge().holds);
  EXPECT_EQ(book.Judge().finding, "2 lines; 2 unexpected, first: ERROR A");
}

}  // namespace
}  // namespace orvane::soak
