#include "platform/loop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/loop_test_driver.h"

namespace orvane::platform {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr TimeSpan kNoDelay = TimeSpan::zero();

class Pipe {
 public:
  Pipe() {
    std::array<int, 2> fds = {-1, -1};
    EXPECT_EQ(pipe2(fds.data(), O_CLOEXEC | O_NONBLOCK), 0);
    reader_ = ScopedFd(fds[0]);
    writer_ = ScopedFd(fds[1]);
  }

  int fd() const { return reader_.get(); }
  void Fill() const { EXPECT_EQ(write(writer_.get(), "x", 1), 1); }
  void Drain() const {
    char byte = 0;
    EXPECT_EQ(read(reader_.get(), &byte, 1), 1);
  }
  void CloseWriter() { writer_ = ScopedFd(); }

 private:
  ScopedFd reader_;
  ScopedFd writer_;
};

class CallbackWatcher : public FdWatcher {
 public:
  explicit CallbackWatcher(std::function<void(int fd)> on_ready) : on_ready_(std::move(on_ready)) {}
  void OnReadReady(int fd) override { on_ready_(fd); }
  void OnWriteReady(int /*fd*/) override { ADD_FAILURE() << "nobody asked for this"; }

 private:
  std::function<void(int fd)> on_ready_;
};

class LoopTest : public BothLoopsTest {
 protected:
  // Returns a task that records its run.
  Loop::Task Note(const std::string& name) {
    return [this, name] { notes_.push_back(name); };
  }

  std::vector<std::string> notes_;
};

INSTANTIATE_TEST_SUITE_P(Loops, LoopTest, BothLoops(), LoopName);

TEST_P(LoopTest, RunsPostedTasksInOrderOfPostingAndNotAtOnce) {
  loop().PostTask(Note("a"));
  loop().PostTask(Note("b"));
  loop().PostTask(Note("c"));
  EXPECT_THAT(notes_, IsEmpty());
  RunUntilIdle();
  EXPECT_THAT(notes_, ElementsAre("a", "b", "c"));
  RunUntilIdle();
  EXPECT_EQ(notes_.size(), 3U);
}

TEST_P(LoopTest, RunsDelayedTasksInOrderOfDeadlines) {
  loop().PostDelayedTask(Note("late"), milliseconds(15));
  loop().PostDelayedTask(Note("early"), milliseconds(5));
  loop().PostDelayedTask(Note("middle"), milliseconds(10));
  EXPECT_TRUE(RunUntil([this] { return notes_.size() == 3; }));
  EXPECT_THAT(notes_, ElementsAre("early", "middle", "late"));
}

TEST_P(LoopTest, NoDelayedTaskIsEarly) {
  const WallTime start = loop().Now();
  WallTime end = start;
  loop().PostDelayedTask([&] { end = loop().Now(); }, milliseconds(30));
  EXPECT_TRUE(RunUntil([&] { return end != start; }));
  EXPECT_GE(end - start, milliseconds(30));
  EXPECT_LT(end - start, milliseconds(300));
}

TEST_P(LoopTest, NegativeDelaysAreNoDelayAndRunInOrderOfArming) {
  loop().PostDelayedTask(Note("a"), kNoDelay);
  loop().PostDelayedTask(Note("b"), std::chrono::hours(-1));
  loop().PostDelayedTask(Note("c"), TimeSpan::min());
  loop().PostDelayedTask(Note("d"), kNoDelay);
  RunUntilIdle();
  EXPECT_THAT(notes_, ElementsAre("a", "b", "c", "d"));
}

TEST_P(LoopTest, PostedTasksComeBeforeTheTimersOfTheTurn) {
  loop().PostDelayedTask(Note("timer"), kNoDelay);
  loop().PostTask(Note("task"));
  RunUntilIdle();
  EXPECT_THAT(notes_, ElementsAre("task", "timer"));
}

TEST_P(LoopTest, WhatATaskPostsOrArmsWaitsForTheNextTurn) {
  loop().PostTask([this] {
    notes_.push_back("first");
    loop().PostDelayedTask(Note("armed by first"), kNoDelay);
    loop().PostTask(Note("posted by first"));
  });
  loop().PostTask(Note("second"));
  loop().PostDelayedTask(Note("timer"), kNoDelay);
  RunUntilIdle();
  EXPECT_THAT(notes_, ElementsAre("first", "second", "timer", "posted by first", "armed by first"));
}

// Captured by a task to record when the task is destroyed.
struct Tracer {
  Tracer(std::vector<std::string>& notes, std::string name)
      : notes_(notes), name_(std::move(name)) {}
  ~Tracer() { notes_.push_back(name_ + " destroyed"); }

  std::vector<std::string>& notes_;
  std::string name_;
};

TEST_P(LoopTest, ATaskIsDestroyedAsSoonAsItHasRun) {
  loop().PostTask(
      [this, tracer = std::make_shared<Tracer>(notes_, "task")] { notes_.push_back("task runs"); });
  loop().PostTask(Note("second task"));
  loop().PostDelayedTask([this, tracer = std::make_shared<Tracer>(
                                    notes_, "timer")] { notes_.push_back("timer runs"); },
                         kNoDelay);
  loop().PostDelayedTask(Note("second timer"), kNoDelay);
  RunUntilIdle();
  EXPECT_THAT(notes_, ElementsAre("task runs", "task destroyed", "second task", "timer runs",
                                  "timer destroyed", "second timer"));
}

TEST_P(LoopTest, ServesADescriptorAgainAndAgainUntilItIsDrained) {
  const Pipe pipe;
  int calls = 0;
  CallbackWatcher watcher([&](int fd) {
    EXPECT_EQ(fd, pipe.fd());
    pipe.Drain();
    ++calls;
  });
  const auto watch = loop().WatchReadable(pipe.fd(), &watcher);
  ASSERT_NE(watch, nullptr);
  RunUntilIdle();
  EXPECT_EQ(calls, 0);
  pipe.Fill();
  pipe.Fill();
  RunUntilIdle();
  EXPECT_EQ(calls, 2);
  pipe.Fill();
  RunUntilIdle();
  EXPECT_EQ(calls, 3);
}

TEST_P(LoopTest, AHangUpIsReadable) {
  Pipe pipe;
  int calls = 0;
  std::unique_ptr<FdWatch> watch;
  CallbackWatcher watcher([&](int /*fd*/) {
    ++calls;
    watch.reset();
  });
  watch = loop().WatchReadable(pipe.fd(), &watcher);
  pipe.CloseWriter();
  RunUntilIdle();
  EXPECT_EQ(calls, 1);
}

TEST_P(LoopTest, ADestroyedWatchIsServedNoMore) {
  const Pipe pipe;
  int calls = 0;
  CallbackWatcher watcher([&](int /*fd*/) { ++calls; });
  auto watch = loop().WatchReadable(pipe.fd(), &watcher);
  pipe.Fill();
  watch.reset();
  RunUntilIdle();
  EXPECT_EQ(calls, 0);

  watch = loop().WatchReadable(pipe.fd(), &watcher);
  ASSERT_NE(watch, nullptr);
  EXPECT_TRUE(RunUntil([&] { return calls > 0; }));
}

TEST_P(LoopTest, AWatchAndItsWatcherMayBeDestroyedInItsOwnCallback) {
  const Pipe pipe;
  int calls = 0;
  std::unique_ptr<FdWatch> watch;
  std::unique_ptr<CallbackWatcher> watcher;
  watcher = std::make_unique<CallbackWatcher>([&](int /*fd*/) {
    int& counter = calls;  // the capture is destroyed with the watcher
    watch.reset();
    watcher.reset();
    ++counter;
  });
  watch = loop().WatchReadable(pipe.fd(), watcher.get());
  pipe.Fill();
  pipe.Fill();
  RunUntilIdle();
  EXPECT_EQ(calls, 1);
}

TEST_P(LoopTest, OneWatcherMayEndTheWatchOfAnother) {
  const std::array<Pipe, 2> pipes;
  std::array<std::unique_ptr<FdWatch>, 2> watches;
  int calls = 0;
  // The first callback ends both watches.
  CallbackWatcher watcher([&](int /*fd*/) {
    ++calls;
    for (auto& watch : watches) watch.reset();
  });
  for (std::size_t i = 0; i < pipes.size(); ++i) {
    watches[i] = loop().WatchReadable(pipes[i].fd(), &watcher);
    pipes[i].Fill();
  }
  RunUntilIdle();
  EXPECT_EQ(calls, 1);
}

// The new watch is likely to have the address of the watch that it replaces.
TEST_P(LoopTest, AWatchBegunInACallbackIsNotTakenForTheOneItReplaces) {
  const std::array<Pipe, 2> pipes;
  const Pipe quiet;
  std::array<std::unique_ptr<FdWatch>, 2> watches;
  int quiet_calls = 0;
  CallbackWatcher quiet_watcher([&](int /*fd*/) { ++quiet_calls; });
  std::unique_ptr<FdWatch> quiet_watch;
  CallbackWatcher watcher([&](int fd) {
    const std::size_t other = fd == pipes[0].fd() ? 1 : 0;
    watches[other].reset();
    quiet_watch = loop().WatchReadable(quiet.fd(), &quiet_watcher);
    watches[1 - other].reset();
  });
  for (std::size_t i = 0; i < pipes.size(); ++i) {
    watches[i] = loop().WatchReadable(pipes[i].fd(), &watcher);
    pipes[i].Fill();
  }
  RunUntilIdle();
  ASSERT_NE(quiet_watch, nullptr);
  EXPECT_EQ(quiet_calls, 0);
  quiet.Fill();
  EXPECT_TRUE(RunUntil([&] { return quiet_calls > 0; }));
}

TEST_P(LoopTest, WatchesOnlyWhatCanBeWatched) {
  const Pipe pipe;
  CallbackWatcher watcher([](int /*fd*/) {});
  EXPECT_EQ(loop().WatchReadable(-1, &watcher), nullptr);
  const int closed_fd = fcntl(pipe.fd(), F_DUPFD_CLOEXEC, 100);
  close(closed_fd);
  EXPECT_EQ(loop().WatchReadable(closed_fd, &watcher), nullptr);
  const ScopedFd file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  const ScopedFd directory(open("/", O_RDONLY | O_CLOEXEC));
  for (const ScopedFd* fd : {&file, &directory}) {
    ASSERT_TRUE(fd->is_valid());
    EXPECT_EQ(loop().WatchReadable(fd->get(), &watcher), nullptr);
  }

  auto watch = loop().WatchReadable(pipe.fd(), &watcher);
  EXPECT_NE(watch, nullptr);
  EXPECT_EQ(loop().WatchReadable(pipe.fd(), &watcher), nullptr) << "watched twice";
  watch.reset();
  EXPECT_NE(loop().WatchReadable(pipe.fd(), &watcher), nullptr);
}

class WriteWatcher : public FdWatcher {
 public:
  explicit WriteWatcher(std::function<void(int fd)> on_ready) : on_ready_(std::move(on_ready)) {}
  void OnReadReady(int /*fd*/) override { ADD_FAILURE() << "nobody asked for this"; }
  void OnWriteReady(int fd) override { on_ready_(fd); }

 private:
  std::function<void(int fd)> on_ready_;
};

TEST_P(LoopTest, AWritableDescriptorIsServedWheneverThereIsRoom) {
  std::array<int, 2> fds = {-1, -1};
  ASSERT_EQ(pipe2(fds.data(), O_CLOEXEC | O_NONBLOCK), 0);
  const ScopedFd reader(fds[0]);
  const ScopedFd writer(fds[1]);
  const std::string page(4096, 'x');
  int calls = 0;
  WriteWatcher watcher([&](int fd) {
    EXPECT_EQ(fd, writer.get());
    ++calls;
    while (write(fd, page.data(), page.size()) > 0) {
    }
  });
  const auto watch = loop().WatchWritable(writer.get(), &watcher);
  ASSERT_NE(watch, nullptr);
  EXPECT_EQ(loop().WatchReadable(writer.get(), &watcher), nullptr) << "watched twice";
  RunUntilIdle();
  EXPECT_EQ(calls, 1);
  std::string bytes(1 << 20, '\0');
  EXPECT_GT(read(reader.get(), bytes.data(), bytes.size()), 0);
  RunUntilIdle();
  EXPECT_EQ(calls, 2);
}

TEST_P(LoopTest, NothingElseCanBeWatchedForWriting) {
  WriteWatcher watcher([](int /*fd*/) {});
  EXPECT_EQ(loop().WatchWritable(-1, &watcher), nullptr);
}

// A task that posts itself, a timer that re-arms itself with no delay, and a descriptor that is
// always readable: each is served about equally often.
TEST_P(LoopTest, NothingThatIsAlwaysReadyStarvesTheRest) {
  std::map<std::string, int> counts;
  const Pipe pipe;
  CallbackWatcher watcher([&](int /*fd*/) { ++counts["descriptor"]; });
  const auto watch = loop().WatchReadable(pipe.fd(), &watcher);
  pipe.Fill();
  const Loop::Task task = [&] {
    ++counts["task"];
    loop().PostTask(task);
  };
  const Loop::Task timer = [&] {
    ++counts["timer"];
    loop().PostDelayedTask(timer, kNoDelay);
  };
  loop().PostTask(task);
  loop().PostDelayedTask(timer, kNoDelay);

  EXPECT_TRUE(RunUntil([&] { return counts["task"] >= 100; }));
  EXPECT_GE(counts["timer"], 90);
  EXPECT_GE(counts["descriptor"], 30);
  EXPECT_LE(counts["descriptor"], 300);
}

TEST_P(LoopTest, TasksThatNeverRanAreDestroyedWithTheLoop) {
  {
    const std::unique_ptr<LoopDriver> driver = GetParam().make_driver();
    driver->loop().PostTask([tracer = std::make_shared<Tracer>(notes_, "task")] {});
    driver->loop().PostDelayedTask([tracer = std::make_shared<Tracer>(notes_, "timer")] {},
                                   std::chrono::hours(1));
  }
  EXPECT_THAT(notes_, testing::UnorderedElementsAre("task destroyed", "timer destroyed"));
}

using LoopDeathTest = LoopTest;

INSTANTIATE_TEST_SUITE_P(Loops, LoopDeathTest, BothLoops(), LoopName);

[[noreturn]] void Throw() { throw std::runtime_error("nobody catches this"); }

// The loop is created in the child process: sd-event refuses to work after a fork.
TEST_P(LoopDeathTest, AnExceptionThatLeavesATaskEndsTheProcess) {
  EXPECT_DEATH(
      {
        const auto driver = GetParam().make_driver();
        driver->loop().PostTask(Throw);
        driver->RunUntilIdle();
      },
      "nobody catches this");
}

TEST_P(LoopDeathTest, AnExceptionThatLeavesATimerEndsTheProcess) {
  EXPECT_DEATH(
      {
        const auto driver = GetParam().make_driver();
        driver->loop().PostDelayedTask(Throw, kNoDelay);
        driver->RunUntilIdle();
      },
      "nobody catches this");
}

TEST_P(LoopDeathTest, AnExceptionThatLeavesAWatcherEndsTheProcess) {
  EXPECT_DEATH(
      {
        const auto driver = GetParam().make_driver();
        const Pipe pipe;
        CallbackWatcher watcher([](int /*fd*/) { Throw(); });
        const auto watch = driver->loop().WatchReadable(pipe.fd(), &watcher);
        pipe.Fill();
        driver->RunUntilIdle();
      },
      "nobody catches this");
}

}  // namespace
}  // namespace orvane::platform
