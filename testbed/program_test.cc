#include "testbed/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>

#include "testbed/private_bus.h"
#include "testbed/program_under_test.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using ::testing::HasSubstr;

constexpr ExitStatus kUsageError = {.code = kExitUsage};

TEST(ProgramTest, HelpIsASuccess) {
  for (const char* name : {"flags_service", "hostapd_standin", "metrics_recorder"}) {
    auto program = StartTestbedProgram(name, {"--help"});
    EXPECT_EQ(program->WaitForExit(kLongEnough), ExitStatus{.code = 0});
    EXPECT_THAT(program->out().Text(), HasSubstr(std::string("Usage: ") + name));
  }
}

TEST(ProgramTest, BadUsageIsOneLineAndItsOwnExitCode) {
  const std::vector<ChildProcess::Arguments> calls = {
      {"flags_service"},
      {"flags_service", "f", "g"},
      {"flags_service", "f", "--late"},
      {"flags_service", "f", "--late", "-1"},
      {"flags_service", "f", "--late", "soon"},
      {"flags_service", "f", "--error", "no name"},
      {"flags_service", "f", "--wrong-type", "a{ss}"},
      {"metrics_recorder", "extra"},
      {"metrics_recorder", "--unknown"},
      {"metrics_recorder", "--die-in-call", "0"},
      {"hostapd_standin", "--day", "--count", "1"},
      {"hostapd_standin", "--count", "-1"},
      {"hostapd_standin", "--day", "--speed", "0"},
      {"hostapd_standin", "--day", "--speed", "2", "--rate", "2"},
      {"hostapd_standin", "--exit-when-done"},
  };
  for (const ChildProcess::Arguments& call : calls) {
    auto program = StartTestbedProgram(call[0], {call.begin() + 1, call.end()});
    EXPECT_EQ(program->WaitForExit(kLongEnough), kUsageError) << ::testing::PrintToString(call);
    EXPECT_EQ(program->err().Count("\n"), 1U) << program->err().Text();
    EXPECT_TRUE(program->err().Text().starts_with(call[0] + ": ")) << program->err().Text();
    EXPECT_EQ(program->out().Text(), "");
  }
}

TEST(ProgramTest, ASignalEndsEachWithSuccess) {
  const PrivateBus bus;
  TemporaryDirectory directory;
  const std::vector<ChildProcess::Arguments> calls = {
      {"flags_service", directory.path() / "flags"},
      {"flags_service", directory.path() / "flags", "--late", "100"},
      {"metrics_recorder"},
      {"hostapd_standin", "--directory", directory.path()},
  };
  for (const int signal_number : {SIGTERM, SIGINT}) {
    for (const ChildProcess::Arguments& call : calls) {
      auto program = StartTestbedProgramUntil("", call[0], {call.begin() + 1, call.end()});
      program->Signal(signal_number);
      EXPECT_EQ(program->WaitForExit(kLongEnough), ExitStatus{.code = 0})
          << ::testing::PrintToString(call) << program->err().Text();
    }
  }
}

TEST(ProgramTest, LosingTheBusIsAFailure) {
  PrivateBus bus;
  auto recorder = StartTestbedProgramUntil("started", "metrics_recorder", {});
  bus.Kill();
  EXPECT_EQ(recorder->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  auto without_bus = StartTestbedProgram("metrics_recorder", {});
  EXPECT_EQ(without_bus->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_THAT(without_bus->err().Text(),
              HasSubstr("metrics_recorder: Can't connect to the system bus: "));
}

TEST(ProgramTest, ATakenNameIsAFailure) {
  const PrivateBus bus;
  auto first = StartTestbedProgramUntil("started", "metrics_recorder", {});
  auto second = StartTestbedProgram("metrics_recorder", {});
  EXPECT_EQ(second->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_THAT(second->err().Text(), HasSubstr("Can't claim the name org.velmora.ap.Quillary: "));
  const TemporaryDirectory directory;
  const std::string file = directory.path() / "flags";
  std::ofstream(file) << "key=value\n";
  auto flags = StartTestbedProgramUntil("started", "flags_service", {file});
  auto later = StartTestbedProgram("flags_service", {file, "--late", "0.05"});
  EXPECT_EQ(later->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
}

}  // namespace
}  // namespace orvane::testbed
