#include "platform/manual_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace orvane::platform {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

constexpr WallTime kStart{seconds(1'000'000'000)};

TEST(ManualLoopTest, TimeStandsStillByItself) {
  ManualLoop loop;
  EXPECT_EQ(loop.Now(), kStart);
  bool has_run = false;
  loop.PostDelayedTask([&] { has_run = true; }, TimeSpan(1));
  loop.RunUntilIdle();
  EXPECT_FALSE(has_run);
  EXPECT_EQ(loop.Now(), kStart);
}

TEST(ManualLoopTest, EachTaskRunsAtItsOwnTime) {
  ManualLoop loop;
  std::vector<WallTime> times;
  const auto note_time = [&] { times.push_back(loop.Now()); };
  loop.PostDelayedTask(note_time, seconds(3));
  loop.PostDelayedTask(
      [&] {
        note_time();
        loop.PostDelayedTask(note_time, milliseconds(500));
        loop.PostTask(note_time);
      },
      seconds(1));
  loop.AdvanceBy(seconds(10));
  EXPECT_THAT(times, ElementsAre(kStart + seconds(1), kStart + seconds(1),
                                 kStart + milliseconds(1500), kStart + seconds(3)));
  EXPECT_EQ(loop.Now(), kStart + seconds(10));
}

TEST(ManualLoopTest, ATaskIsDueAtItsDeadlineAndNotBefore) {
  ManualLoop loop;
  int runs = 0;
  loop.PostDelayedTask([&] { ++runs; }, seconds(1));
  loop.AdvanceBy(seconds(1) - TimeSpan(1));
  EXPECT_EQ(runs, 0);
  loop.AdvanceBy(TimeSpan(1));
  EXPECT_EQ(runs, 1);
}

TEST(ManualLoopTest, DaysGoByWithEveryPeriodKept) {
  ManualLoop loop;
  int periods = 0;
  const Loop::Task period = [&] {
    ++periods;
    loop.PostDelayedTask(period, seconds(10));
  };
  loop.PostDelayedTask(period, seconds(10));
  loop.AdvanceBy(7 * hours(24));
  EXPECT_EQ(periods, 7 * 24 * 360);
  EXPECT_EQ(loop.Now(), kStart + 7 * hours(24));
}

TEST(ManualLoopTest, SettingTheClockMovesNoDeadline) {
  ManualLoop loop;
  std::vector<WallTime> times;
  loop.PostDelayedTask([&] { times.push_back(loop.Now()); }, seconds(10));
  loop.AdvanceBy(seconds(4));

  loop.SetWallTime(WallTime(seconds(5)));
  EXPECT_EQ(loop.Now(), WallTime(seconds(5)));
  loop.AdvanceBy(seconds(5));
  EXPECT_TRUE(times.empty());
  loop.AdvanceBy(seconds(1));
  EXPECT_THAT(times, ElementsAre(WallTime(seconds(11))));

  loop.PostDelayedTask([&] { times.push_back(loop.Now()); }, seconds(10));
  loop.SetWallTime(kStart + hours(1000));
  loop.RunUntilIdle();
  EXPECT_EQ(times.size(), 1U);
}

TEST(ManualLoopTest, RunOnceTakesOneTurn) {
  ManualLoop loop;
  int runs = 0;
  loop.PostTask([&] {
    ++runs;
    loop.PostTask([&] { ++runs; });
  });
  EXPECT_TRUE(loop.RunOnce());
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(loop.RunOnce());
  EXPECT_EQ(runs, 2);
  EXPECT_FALSE(loop.RunOnce());
}

TEST(ManualLoopDeathTest, TimeDoesNotRunBackwards) {
  ManualLoop loop;
  EXPECT_DEATH(loop.AdvanceBy(TimeSpan(-1)), "Check failed: span >= TimeSpan::zero\\(\\)");
}

}  // namespace
}  // namespace orvane::platform
