#include "platform/one_shot_timer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/loop_test_driver.h"

namespace orvane::platform {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr TimeSpan kNoDelay = TimeSpan::zero();

class OneShotTimerTest : public BothLoopsTest {
 protected:
  Loop::Task Note(const std::string& name) {
    return [this, name] { notes_.push_back(name); };
  }

  // Runs everything that is due soon, and what that starts. Timers fire in the order of their
  // deadlines, so a timer that starts in one round fires before the end of the next round, even on
  // a busy machine.
  void RunShortly() {
    constexpr int kRounds = 3;
    for (int i = 0; i < kRounds; ++i) {
      bool done = false;
      loop().PostDelayedTask([&done] { done = true; }, milliseconds(30));
      EXPECT_TRUE(RunUntil([&done] { return done; }));
    }
  }

  std::vector<std::string> notes_;
  OneShotTimer timer_{loop()};
};

INSTANTIATE_TEST_SUITE_P(Loops, OneShotTimerTest, BothLoops(), LoopName);

TEST_P(OneShotTimerTest, FiresOnceForEachStart) {
  EXPECT_FALSE(timer_.IsRunning());
  timer_.Start(milliseconds(1), Note("fired"));
  EXPECT_TRUE(timer_.IsRunning());
  RunShortly();
  EXPECT_FALSE(timer_.IsRunning());
  EXPECT_THAT(notes_, ElementsAre("fired"));
  timer_.Start(milliseconds(1), Note("fired again"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("fired", "fired again"));
}

TEST_P(OneShotTimerTest, AStoppedTimerDoesNotFire) {
  timer_.Stop();
  timer_.Start(kNoDelay, Note("fired"));
  timer_.Stop();
  EXPECT_FALSE(timer_.IsRunning());
  RunShortly();
  EXPECT_THAT(notes_, IsEmpty());
}

TEST_P(OneShotTimerTest, ADestroyedTimerDoesNotFire) {
  std::make_unique<OneShotTimer>(loop())->Start(kNoDelay, Note("fired"));
  RunShortly();
  EXPECT_THAT(notes_, IsEmpty());
}

TEST_P(OneShotTimerTest, AnotherStartReplacesTheTaskAndTheDelay) {
  timer_.Start(milliseconds(1), Note("first"));
  timer_.Start(milliseconds(2), Note("second"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("second"));
  timer_.Start(milliseconds(1), Note("soon"));
  timer_.Start(std::chrono::hours(1), Note("much later"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("second"));
  EXPECT_TRUE(timer_.IsRunning());
}

TEST_P(OneShotTimerTest, IsIdleWhenItsTaskRuns) {
  bool was_running = true;
  timer_.Start(kNoDelay, [&] { was_running = timer_.IsRunning(); });
  RunShortly();
  EXPECT_FALSE(was_running);
}

TEST_P(OneShotTimerTest, MayBeStartedAnewInItsTask) {
  timer_.Start(kNoDelay, [this] {
    notes_.push_back("first");
    timer_.Start(kNoDelay, Note("second"));
    EXPECT_TRUE(timer_.IsRunning());
  });
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("first", "second"));
  EXPECT_FALSE(timer_.IsRunning());
}

TEST_P(OneShotTimerTest, MayBeStoppedInItsTask) {
  timer_.Start(kNoDelay, [this] {
    timer_.Stop();
    notes_.push_back("fired");
  });
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("fired"));
  EXPECT_FALSE(timer_.IsRunning());
}

TEST_P(OneShotTimerTest, MayBeDestroyedInItsTask) {
  auto timer = std::make_unique<OneShotTimer>(loop());
  timer->Start(kNoDelay, [this, &timer, text = std::string("captured text that is not short")] {
    timer.reset();
    notes_.push_back(text);
  });
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("captured text that is not short"));
}

TEST_P(OneShotTimerTest, OneTimerMayStopAnotherThatIsDueInTheSameTurn) {
  OneShotTimer other(loop());
  timer_.Start(kNoDelay, [&] {
    notes_.push_back("first");
    other.Stop();
  });
  other.Start(kNoDelay, Note("other"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("first"));
}

TEST_P(OneShotTimerTest, OneTimerMayDestroyAnotherThatIsDueInTheSameTurn) {
  auto other = std::make_unique<OneShotTimer>(loop());
  timer_.Start(kNoDelay, [&] {
    notes_.push_back("first");
    other.reset();
  });
  other->Start(kNoDelay, Note("other"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("first"));
}

TEST_P(OneShotTimerTest, OneTimerMayStartOverAnotherThatIsDueInTheSameTurn) {
  OneShotTimer other(loop());
  OneShotTimer third(loop());
  timer_.Start(kNoDelay, [&] {
    notes_.push_back("first");
    other.Start(kNoDelay, Note("other, started over"));
  });
  other.Start(kNoDelay, Note("other"));
  third.Start(kNoDelay, Note("third"));
  RunShortly();
  EXPECT_THAT(notes_, ElementsAre("first", "third", "other, started over"));
}

TEST_P(OneShotTimerTest, APostedTaskMayStopATimerThatIsDueInTheSameTurn) {
  timer_.Start(kNoDelay, Note("timer"));
  loop().PostTask([this] { timer_.Stop(); });
  RunShortly();
  EXPECT_THAT(notes_, IsEmpty());
}

// Like a service whose period is set to 0 at run time.
TEST_P(OneShotTimerTest, ATimerThatRestartsItselfAtOnceStarvesNoTask) {
  int fired = 0;
  const Loop::Task again = [&] {
    ++fired;
    timer_.Start(SecondsToTimeSpan(-5), again);
  };
  timer_.Start(kNoDelay, again);
  int posted = 0;
  const Loop::Task post = [&] {
    ++posted;
    loop().PostTask(post);
  };
  loop().PostTask(post);
  EXPECT_TRUE(RunUntil([&] { return fired >= 50; }));
  EXPECT_GE(posted, 40);
}

}  // namespace
}  // namespace orvane::platform
