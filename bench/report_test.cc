#include "bench/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvane::bench {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

const Row kRow = {
    .name = "event", .what = "an event", .unit = "ns", .goal = 1.5, .measure = nullptr};

TEST(FigureTest, TakesTheMiddleOfUnsortedSamples) {
  const Figure figure = Summarize({9, 1, 5, 3, 7, 11});
  EXPECT_DOUBLE_EQ(figure.median, 6);
  EXPECT_DOUBLE_EQ(figure.low, 3);
  EXPECT_DOUBLE_EQ(figure.high, 9);
}

TEST(FigureTest, OneSampleIsMedianAndRange) {
  const Figure figure = Summarize({4});
  EXPECT_DOUBLE_EQ(figure.low, 4);
  EXPECT_DOUBLE_EQ(figure.median, 4);
  EXPECT_DOUBLE_EQ(figure.high, 4);
}

TEST(ResultTest, ComparesTheRatioWithTheGoal) {
  Result result = {.row = kRow, .measured = {.ours = {3, 3, 3}, .floor = Figure{2, 2, 2}}};
  EXPECT_DOUBLE_EQ(result.Value(), 1.5);
  EXPECT_TRUE(result.IsMet());
  result.measured.ours.median = 3.1;
  EXPECT_FALSE(result.IsMet());
}

TEST(ResultTest, WithoutAFloorComparesTheFigureItself) {
  EXPECT_TRUE((Result{.row = kRow, .measured = {.ours = {1.5, 1, 9}, .floor = {}}}.IsMet()));
  EXPECT_FALSE((Result{.row = kRow, .measured = {.ours = {1.6, 1, 9}, .floor = {}}}.IsMet()));
}

TEST(ReportTest, FormatsARowAsOneLine) {
  const Result result = {
      .row = kRow, .measured = {.ours = {1234, 1200, 1300}, .floor = Figure{45.25, 9.999, 50}}};
  const std::string line = TableLine(result);
  EXPECT_THAT(line, HasSubstr("event  "));
  EXPECT_THAT(line, HasSubstr(" 1234 (1200 - 1300) "));
  EXPECT_THAT(line, HasSubstr(" 45.2 (10.00 - 50.0) "));
  EXPECT_THAT(line, HasSubstr("27.3    1.50  missed"));
  EXPECT_THAT(line, EndsWith(" an event, ns\n"));
}

TEST(ReportTest, ARowWithoutAGoalHasNoVerdict) {
  Row row = kRow;
  row.goal.reset();
  const Result result = {.row = row, .measured = {.ours = {4, 4, 4}, .floor = Figure{2, 2, 2}}};
  EXPECT_TRUE(result.IsMet());
  EXPECT_THAT(TableLine(result), HasSubstr("2.00       -          an event"));
  EXPECT_THAT(Json({result}), HasSubstr(R"("ratio": 2, "ok": true})"));
}

TEST(ReportTest, FormatsRowsAsJson) {
  const Result with_floor = {.row = kRow,
                             .measured = {.ours = {3, 2, 4}, .floor = Figure{2, 1, 3}}};
  const Result without = {.row = kRow, .measured = {.ours = {3, 2, 4}, .floor = {}}};
  EXPECT_EQ(Json({with_floor, without}),
            R"({"rows": [
  {"row": "event", "what": "an event", "unit": "ns", "ours": {"median": 3, "p20": 2, "p80": 4}, )"
            R"("floor": {"median": 2, "p20": 1, "p80": 3}, "ratio": 1.5, "goal": 1.5, "ok": true},
  {"row": "event", "what": "an event", "unit": "ns", "ours": {"median": 3, "p20": 2, "p80": 4}, )"
            R"("goal": 1.5, "ok": false}
]}
)");
}

}  // namespace
}  // namespace orvane::bench
