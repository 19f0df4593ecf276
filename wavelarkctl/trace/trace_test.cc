// The subcommand "trace" in a process of its own, on a simulated kernel.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "platform/netlink/netlink_manager.h"
#include "simulation/fake_kernel.h"
#include "testbed/temporary_directory.h"
#include "testbed/tool_test.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/trace/trace_row.h"
#include "wavelarkctl/trace/trace_writer.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class TraceTest : public testbed::ToolTest {
 protected:
  // Runs the tool in a child with two interfaces, "a" with a client and "b" without.
  pid_t Fork(const std::vector<const char*>& arguments) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    simulation::FakeKernel kernel;
    kernel.AddInterface("a", 3);
    kernel.AddInterface("b", 4);
    kernel.Stations("a").emplace_back().address = {2, 0, 0, 0, 0, 1};
    platform::NetlinkManager::GetInstance()->SetKernel(kernel);
    _exit(RunWavelarkctl(static_cast<int>(arguments.size()), arguments.data()));
  }

  static std::string Read(const platform::FilePath& path) {
    return platform::ReadFileToString(path).value_or("");
  }

  static void WaitForLines(const platform::FilePath& path, std::ptrdiff_t count) {
    while (std::ranges::count(Read(path), '\n') < count) std::this_thread::sleep_for(1ms);
  }

  static int WaitForExit(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
  }

  const platform::FilePath trace_ = directory_.path() / "trace.csv";
};

class TraceSignalTest : public TraceTest, public ::testing::WithParamInterface<int> {};

TEST_P(TraceSignalTest, EndsItWithACompleteFile) {
  const pid_t pid = Fork({"wavelarkctl", "trace", "--interface", "a", "--interface", "b", "--every",
                          "0.1s", "-o", trace_.c_str()});
  WaitForLines(trace_, 4);
  kill(pid, GetParam());
  EXPECT_EQ(WaitForExit(pid), 0);
  EXPECT_THAT(Read(trace_), AllOf(StartsWith(std::string(kTraceHeader) + "\n"),
                                  HasSubstr(",a,02:00:00:00:00:01,-50,1\n")));
  const Outcome replayed = Run({"replay", trace_.native()});
  EXPECT_EQ(replayed.status, 0) << replayed.err;
}

INSTANTIATE_TEST_SUITE_P(Signals, TraceSignalTest, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(TraceTest, AHyphenIsStandardOutput) {
  const platform::ScopedFd original(dup(STDOUT_FILENO));
  ASSERT_NE(freopen(trace_.c_str(), "w", stdout), nullptr);
  const pid_t pid =
      Fork({"wavelarkctl", "trace", "--interface", "a", "--every", "0.1s", "-o", "-"});
  dup2(original.get(), STDOUT_FILENO);
  WaitForLines(trace_, 2);
  kill(pid, SIGTERM);
  EXPECT_EQ(WaitForExit(pid), 0);
  EXPECT_THAT(Read(trace_), StartsWith(std::string(kTraceHeader) + "\n"));
}

TEST_F(TraceTest, AnInterfaceThatIsNotThereIsReported) {
  const Outcome outcome = Run({"trace", "--interface", "no-such-one", "-o", trace_.native()});
  EXPECT_EQ(outcome.status, 69);
  EXPECT_EQ(outcome.err, "wavelarkctl: no such interface: no-such-one (--interface)\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(platform::PathExists(trace_));
}

TEST_F(TraceTest, AFullDiskLeavesWholeSamples) {
  const TraceRow row = {.time = platform::WallTime(1s),
                        .interface = "a",
                        .address = {2, 0, 0, 0, 0, 1},
                        .signal = -50,
                        .is_authorized = true};
  const auto write_samples = [&] {
    TraceWriter writer = CreateTrace(trace_);
    for (int rows = 1; rows <= 2; ++rows) {
      for (int i = 0; i < rows; ++i) writer.Add(row);
      writer.Flush();
    }
  };
  EXPECT_EXIT(
      {
        testbed::LimitFileSize(100);
        try {
          write_samples();
        } catch (const Failure& failure) {
          std::cerr << failure.what();
          _exit(1);
        }
        _exit(0);
      },
      testing::ExitedWithCode(1), "trace.csv: File too large");
  EXPECT_EQ(Read(trace_), std::string(kTraceHeader) + "\n" + FormatTraceRow(row));
}

TEST_F(TraceTest, NoFileIsReplaced) {
  testbed::WriteFile(trace_, "precious");
  const pid_t pid = Fork({"wavelarkctl", "trace", "--interface", "a", "-o", trace_.c_str()});
  EXPECT_EQ(WaitForExit(pid), 69);
  EXPECT_EQ(Read(trace_), "precious");
}

TEST_F(TraceTest, WrongArgumentsAreRefused) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--every", "soon"},
                                             {"--every", "0"},
                                             {"--every=-1s"},
                                             {"--every", "1m"},
                                             {"--interface", "a,b"},
                                             {"--interface", ""},
                                             {"--output", ""},
                                             {"stray"}}) {
    std::vector<std::string> all = {"trace"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const Outcome outcome = Run(all);
    EXPECT_EQ(outcome.status, 64) << arguments.front();
    EXPECT_THAT(outcome.err, StartsWith("wavelarkctl: "));
  }
}

TEST_F(TraceTest, HelpHasExamples) {
  const Outcome outcome = Run({"trace", "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("wavelarkctl trace -o office.csv"));
}

}  // namespace
}  // namespace orvane::wavelarkctl
