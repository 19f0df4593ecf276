#include "platform/logging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "platform/sd_event_loop.h"

namespace orvane::platform {
namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::MatchesRegex;
using testing::Pair;

constexpr char kHeaderTime[] =
    "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9] "
    "[0-9][0-9]:[0-9][0-9]:[0-9][0-9].[0-9][0-9][0-9][0-9][0-9][0-9]";

class LoggingTest : public testing::Test {
 protected:
  ~LoggingTest() override {
    SetVerboseLevel(0);
    InitLog(kLogToStderr | kLogHeader, "logging_test");
  }

  std::vector<std::pair<Severity, std::string>> lines_;
  LogListener listener_{
      [this](Severity severity, std::string_view line) { lines_.emplace_back(severity, line); }};
};

TEST_F(LoggingTest, EachLineHasAHeader) {
  SetVerboseLevel(1);
  testing::internal::CaptureStderr();
  LOG(INFO) << "one";
  LOG(WARNING) << "two";
  LOG(ERROR) << "three";
  VLOG(1) << "four";
  const int line = __LINE__ - 4;
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              MatchesRegex(fmt::format("{0} INFO platform/logging_test.cc:{1}. one\n"
                                       "{0} WARNING platform/logging_test.cc:{2}. two\n"
                                       "{0} ERROR platform/logging_test.cc:{3}. three\n"
                                       "{0} VERBOSE1 platform/logging_test.cc:{4}. four\n",
                                       kHeaderTime, line, line + 1, line + 2, line + 3)));
}

TEST_F(LoggingTest, WithoutTheHeaderOptionThereIsOnlyTheMessage) {
  InitLog(kLogToStderr, "logging_test");
  testing::internal::CaptureStderr();
  LOG(INFO) << "only this";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "only this\n");
}

TEST_F(LoggingTest, WithoutTheOptionNothingGoesToStandardError) {
  InitLog(kLogHeader, "logging_test");
  testing::internal::CaptureStderr();
  LOG(ERROR) << "to nobody but the listener";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(lines_, ElementsAre(Pair(Severity::kError, "to nobody but the listener")));
}

TEST_F(LoggingTest, WritesValuesAsText) {
  const char array[16] = "array";
  char changeable[16] = "changeable";
  LOG(INFO) << "int8 " << std::int8_t{-5} << ", uint8 " << std::uint8_t{65} << ", int64 "
            << std::numeric_limits<std::int64_t>::min() << ", uint64 "
            << std::numeric_limits<std::uint64_t>::max() << ", bool " << true << ", char " << 'c';
  LOG(INFO) << std::string("string") << std::string_view(" view ") << array << " " << changeable;
  EXPECT_THAT(lines_, ElementsAre(Pair(Severity::kInfo,
                                       "int8 -5, uint8 65, int64 -9223372036854775808, uint64 "
                                       "18446744073709551615, bool true, char c"),
                                  Pair(Severity::kInfo, "string view array changeable")));
}

TEST_F(LoggingTest, TakesTheMessageAsItIs) {
  const std::string message("{} %s %v {0} \0 end", 18);
  InitLog(kLogToStderr, "logging_test");
  testing::internal::CaptureStderr();
  LOG(INFO) << message;
  EXPECT_EQ(testing::internal::GetCapturedStderr(), message + "\n");
}

TEST_F(LoggingTest, WritesLongMessagesWhole) {
  const std::string message(100'000, 'x');
  InitLog(kLogToStderr, "logging_test");
  testing::internal::CaptureStderr();
  LOG(INFO) << message << "y";
  EXPECT_TRUE(testing::internal::GetCapturedStderr() == message + "y\n");
}

TEST_F(LoggingTest, AVerboseLineThatIsOffEvaluatesNothing) {
  int evaluations = 0;
  const auto evaluate = [&evaluations] { return ++evaluations; };
  VLOG(1) << evaluate();
  EXPECT_EQ(evaluations, 0);
  EXPECT_THAT(lines_, IsEmpty());

  SetVerboseLevel(1);
  VLOG(1) << "on " << evaluate();
  VLOG(2) << "off " << evaluate();
  EXPECT_EQ(evaluations, 1);
  SetVerboseLevel(-1);
  VLOG(1) << "off " << evaluate();
  EXPECT_EQ(evaluations, 1);
  EXPECT_THAT(lines_, ElementsAre(Pair(Severity::kVerbose, "on 1")));
}

TEST_F(LoggingTest, TheMacrosAreWholeStatements) {
  const bool off = false;
  if (off)
    VLOG(1) << "not reached";
  else
    LOG(INFO) << "else of the outer if";
  if (off)
    CHECK(!off) << "not reached";
  else
    LOG(INFO) << "else of the outer if";
  EXPECT_EQ(lines_.size(), 2U);
}

TEST_F(LoggingTest, PlogAddsTheSystemErrorThatWasCurrentWhenItBegan) {
  const auto overwrite_errno = [] {
    errno = EPERM;
    return "connect";
  };
  errno = ENOENT;
  PLOG(ERROR) << "Failed to " << overwrite_errno();
  errno = EAGAIN;
  PLOG(WARNING);
  EXPECT_THAT(
      lines_,
      ElementsAre(Pair(Severity::kError, "Failed to connect: No such file or directory (2)"),
                  Pair(Severity::kWarning, ": Resource temporarily unavailable (11)")));
}

TEST_F(LoggingTest, NamesSystemErrors) {
  EXPECT_EQ(SystemErrorText(ENOENT), "No such file or directory (2)");
  EXPECT_EQ(SystemErrorText(99'999), "Unknown error 99999 (99999)");
}

TEST_F(LoggingTest, AListenerTakesLinesOnlyWhileItIsAlive) {
  std::vector<std::string> inner_lines;
  {
    const LogListener inner(
        [&inner_lines](Severity, std::string_view line) { inner_lines.emplace_back(line); });
    LOG(INFO) << "during";
  }
  LOG(INFO) << "after";
  EXPECT_THAT(inner_lines, ElementsAre("during"));
  EXPECT_THAT(lines_, ElementsAre(Pair(Severity::kInfo, "during"), Pair(Severity::kInfo, "after")));
}

TEST_F(LoggingTest, APassedCheckIsSilentAndEvaluatedOnce) {
  int evaluations = 0;
  CHECK(++evaluations == 1) << "message " << ++evaluations;
  CHECK_TEXT(evaluations == 1, "text");
  EXPECT_EQ(evaluations, 1);
  EXPECT_THAT(lines_, IsEmpty());
}

// Nothing follows these lines, except an emulator's message about the signal.
std::string LastWords(const std::string& expression) {
  return expression + "\n(qemu: uncaught target signal [^\n]*\n)?$";
}

using LoggingDeathTest = LoggingTest;

TEST_F(LoggingDeathTest, AFatalLineEndsTheProcess) {
  EXPECT_EXIT(LOG(FATAL) << "the end", KilledBySignal(SIGABRT),
              std::string(kHeaderTime) + " FATAL platform/logging_test.cc:[0-9]+] the end\n");
}

TEST_F(LoggingDeathTest, AFailedCheckEndsTheProcess) {
  const int started = 0;
  EXPECT_EXIT(CHECK(started == 1), KilledBySignal(SIGABRT),
              LastWords("] Check failed: started == 1"));
  EXPECT_EXIT(CHECK(started == 1) << "with " << 5 << " words", KilledBySignal(SIGABRT),
              LastWords("] Check failed: started == 1 with 5 words"));
}

TEST_F(LoggingDeathTest, AFailedCheckMayHaveItsTextGivenApart) {
  const bool wrong = false;
  EXPECT_EXIT(CHECK_TEXT(wrong, "!socket_.empty()"), KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Check failed: !socket_.empty\\(\\)"));
  EXPECT_EXIT(CHECK_TEXT(wrong, "!socket_.empty()") << "message", KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Check failed: !socket_.empty\\(\\) message"));
}

TEST_F(LoggingDeathTest, ListenersTakeTheFatalLineToo) {
  EXPECT_EXIT(
      {
        const LogListener last_words([](Severity severity, std::string_view line) {
          if (severity == Severity::kFatal) fmt::print(stderr, "heard: {}\n", line);
        });
        CHECK(lines_.size() == 1);
      },
      KilledBySignal(SIGABRT), "heard: Check failed: lines_.size\\(\\) == 1\n");
}

// An exception leaves a callback that C code has called.
void ThrowInACallback(void (*callback)()) {
  InitLog(kLogToStderr | kLogHeader, "logging_test");
  SdEventLoop loop;
  loop.PostTask(callback);
  loop.Run();
}

TEST_F(LoggingDeathTest, AnUncaughtExceptionGivesItsText) {
  EXPECT_EXIT(ThrowInACallback([] { std::ignore = std::stoi("none"); }), KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Uncaught exception: stoi"));
  EXPECT_EXIT(ThrowInACallback([] { std::ignore = std::stoll("none"); }), KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Uncaught exception: stoll"));
  EXPECT_EXIT(ThrowInACallback([] { throw 5; }), KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Uncaught exception of an unknown type"));
  EXPECT_EXIT(ThrowInACallback([] { std::terminate(); }), KilledBySignal(SIGABRT),
              LastWords("FATAL .*\\] Terminated without an exception"));
}

// Does what systemd does if standard error is the journal.
void SetJournalStream(int fd) {
  struct stat file = {};
  fstat(fd, &file);
  const std::string stream = fmt::format("{}:{}", file.st_dev, file.st_ino);
  setenv("JOURNAL_STREAM", stream.c_str(), /*overwrite=*/1);
}

[[noreturn]] void LogLinesToTheJournal() {
  SetJournalStream(STDERR_FILENO);
  InitLog(kLogToStderr, "logging_test");
  SetVerboseLevel(1);
  VLOG(1) << "one\nof two lines";
  LOG(INFO) << "two";
  LOG(WARNING) << "three";
  LOG(ERROR) << "four";
  LOG(FATAL) << "five";
  std::abort();
}

TEST_F(LoggingDeathTest, TheJournalIsGivenThePriorityOfEachLine) {
  EXPECT_EXIT(LogLinesToTheJournal(), KilledBySignal(SIGABRT),
              LastWords("^<7>one\n<7>of two lines\n<6>two\n<4>three\n<3>four\n<2>five"));
}

TEST_F(LoggingDeathTest, WhatIsNotTheJournalIsNotGivenPriorities) {
  EXPECT_EXIT(
      {
        SetJournalStream(STDIN_FILENO);
        InitLog(kLogToStderr, "logging_test");
        LOG(FATAL) << "the end";
      },
      KilledBySignal(SIGABRT), LastWords("^the end"));
}

TEST_F(LoggingDeathTest, SurvivesAClosedStandardError) {
  EXPECT_EXIT(
      {
        InitLog(kLogToStderr | kLogHeader, "logging_test");
        close(STDERR_FILENO);
        for (int i = 0; i < 3; ++i) LOG(ERROR) << "to nobody";
        _exit(3);
      },
      ExitedWithCode(3), "");
}

}  // namespace
}  // namespace orvane::platform
