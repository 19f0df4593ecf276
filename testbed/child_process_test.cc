#include "testbed/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;

constexpr milliseconds kLongEnough(5000);
constexpr milliseconds kShort(20);

std::unique_ptr<ChildProcess> StartShell(const std::string& script,
                                         const ChildProcess::Environment& environment = {}) {
  std::string error;
  auto child = ChildProcess::Start({"sh", "-c", script}, environment, &error);
  EXPECT_NE(child, nullptr) << error;
  return child;
}

TEST(ChildProcessTest, CapturesBothStreamsApart) {
  auto child = StartShell("echo one; echo two >&2");
  ASSERT_EQ(child->WaitForExit(kLongEnough), ExitStatus{.code = 0});
  EXPECT_EQ(child->out().Text(), "one\n");
  EXPECT_EQ(child->err().Text(), "two\n");
}

TEST(ChildProcessTest, ReportsExitCodeAndSignal) {
  EXPECT_EQ(StartShell("exit 64")->WaitForExit(kLongEnough), ExitStatus{.code = 64});
  auto child = StartShell("exec sleep 100");
  EXPECT_EQ(child->WaitForExit(kShort), std::nullopt);
  child->Signal(SIGTERM);
  EXPECT_EQ(child->WaitForExit(kLongEnough), (ExitStatus{.code = -1, .signal = SIGTERM}));
}

TEST(ChildProcessTest, WaitsForLinesInOrder) {
  auto child = StartShell("echo a 1; echo b; sleep 0.05; echo a 2; printf 'a 3'; exec sleep 100");
  EXPECT_EQ(child->out().WaitForLine("a", kLongEnough), "a 1");
  EXPECT_EQ(child->out().WaitForLine("a", kLongEnough), "a 2");
  // Text without a line end is not a line yet.
  EXPECT_EQ(child->out().WaitForLine("a", kShort), std::nullopt);
  EXPECT_EQ(child->out().Count("a"), 3U);
}

TEST(ChildProcessTest, AFailedWaitSkipsNoLines) {
  auto child = StartShell("echo a; echo b; exec sleep 100");
  EXPECT_EQ(child->out().WaitForLine("c", milliseconds(200)), std::nullopt);
  EXPECT_EQ(child->out().WaitForLine("a", kLongEnough), "a");
}

TEST(ChildProcessTest, WaitingForLinesEndsWithTheChild) {
  auto child = StartShell("echo a");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(child->out().WaitForLine("b", kLongEnough), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - start, kLongEnough / 2);
  EXPECT_EQ(child->out().WaitForLine("a", kLongEnough), "a");
}

TEST(ChildProcessTest, EnvironmentComesOnTop) {
  ASSERT_EQ(setenv("LAB_KEPT", "kept", 1), 0);
  ASSERT_EQ(setenv("LAB_CHANGED", "before", 1), 0);
  auto child = StartShell("echo $LAB_KEPT $LAB_CHANGED $LAB_NEW",
                          {{"LAB_CHANGED", "after"}, {"LAB_NEW", "new"}});
  EXPECT_TRUE(child->out().WaitForLine("kept after new", kLongEnough)) << child->out().Text();
}

TEST(ChildProcessTest, AProgramThatIsNotThereIsAnError) {
  std::string error;
  EXPECT_EQ(ChildProcess::Start({"/nowhere/program"}, {}, &error), nullptr);
  EXPECT_THAT(error, HasSubstr("/nowhere/program: No such file"));
}

TEST(ChildProcessTest, BeginsWithNoSignalBlocked) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  // Without a shell, which sets its own signal mask.
  std::string error;
  auto child = ChildProcess::Start({"grep", "SigBlk", "/proc/self/status"}, {}, &error);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  ASSERT_NE(child, nullptr) << error;
  EXPECT_EQ(child->out().WaitForLine("", kLongEnough), "SigBlk:\t0000000000000000");
}

TEST(ChildProcessTest, BeginsWithTheStandardDescriptorsOnly) {
  const platform::ScopedFd inherited(dup(STDIN_FILENO));
  auto child = StartShell("exec ls /proc/self/fd");
  ASSERT_EQ(child->WaitForExit(kLongEnough), ExitStatus{.code = 0});
  EXPECT_EQ(child->out().Text(), "0\n1\n2\n3\n") << "the last one is of the folder that it lists";
}

TEST(ChildProcessTest, DestroyedChildIsGone) {
  auto child = StartShell("exec sleep 100");
  const pid_t pid = child->pid();
  child.reset();
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcessTest, ChildEndsWithItsParent) {
  TemporaryDirectory directory;
  const platform::FilePath pid_file = directory.path() / "pid";
  const pid_t parent = fork();
  ASSERT_GE(parent, 0);
  if (parent == 0) {
    auto child = StartShell("echo $$ > " + pid_file.native() + "; echo; exec sleep 100");
    child->out().WaitForLine("", kLongEnough);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(parent, &status, 0), parent);
  const int child = std::stoi(platform::ReadFileToString(pid_file).value_or("0"));
  ASSERT_GT(child, 1);
  // A dead orphan that init has not reaped yet still has a pid, but no program.
  const platform::FilePath program = "/proc/" + std::to_string(child) + "/exe";
  const auto is_running = [&] {
    std::error_code error;
    return !std::filesystem::read_symlink(program, error).empty();
  };
  for (int i = 0; i < 500 && is_running(); ++i) usleep(10'000);
  EXPECT_FALSE(is_running());
}

}  // namespace
}  // namespace orvane::testbed
