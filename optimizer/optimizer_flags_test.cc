#include "optimizer/optimizer_flags.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class OptimizerFlagsTest : public ::testing::Test {
 protected:
  ~OptimizerFlagsTest() override { platform::SetVerboseLevel(0); }

  std::optional<int> Parse(std::initializer_list<const char*> arguments) {
    flags_ = OptimizerFlags();
    std::vector<const char*> argv = {"/usr/sbin/ap-wavelark"};
    argv.insert(argv.end(), arguments);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const std::optional<int> exit_code =
        ParseCommandLine(static_cast<int>(argv.size()), argv.data(), &flags_);
    out_ = ::testing::internal::GetCapturedStdout();
    error_ = ::testing::internal::GetCapturedStderr();
    return exit_code;
  }

  void ExpectUsageError(std::initializer_list<const char*> arguments, const std::string& reason) {
    EXPECT_EQ(Parse(arguments), 64);
    EXPECT_EQ(out_, "");
    EXPECT_THAT(error_, StartsWith("/usr/sbin/ap-wavelark: "));
    EXPECT_THAT(error_, HasSubstr(reason));
    EXPECT_EQ(error_.find('\n'), error_.size() - 1) << "one line: " << error_;
  }

  OptimizerFlags flags_;
  std::string out_;
  std::string error_;
};

TEST_F(OptimizerFlagsTest, DefaultsHoldWithoutArguments) {
  EXPECT_EQ(Parse({}), std::nullopt);
  EXPECT_TRUE(flags_.enable_connection_event_stats);
  EXPECT_EQ(flags_.connection_event_upload_period, 300);
  EXPECT_FALSE(flags_.enable_client_steering);
  EXPECT_EQ(flags_.client_steering_interval, 600);
  EXPECT_EQ(flags_.client_steering_poll_interval, 60);
  EXPECT_EQ(flags_.client_steering_root_lqm_floor, 30);
  EXPECT_EQ(flags_.client_steering_child_lqm_floor, 40);
  EXPECT_EQ(flags_.client_steering_lqm_hysteresis, 15);
  EXPECT_TRUE(flags_.is_root);
}

TEST_F(OptimizerFlagsTest, DefaultsHoldWithoutEvenAName) {
  const char* const argv[] = {nullptr};
  EXPECT_EQ(ParseCommandLine(0, argv, &flags_), std::nullopt);
  EXPECT_EQ(flags_.connection_event_upload_period, 300);
}

TEST_F(OptimizerFlagsTest, EachFlagSetsItsOwnValue) {
  EXPECT_EQ(Parse({"--noenable_connection_event_stats", "--connection_event_upload_period=1",
                   "--enable_client_steering", "--client_steering_interval", "2",
                   "--client_steering_poll_interval=3", "--client_steering_root_lqm_floor=4",
                   "--client_steering_child_lqm_floor=5", "--client_steering_lqm_hysteresis=6",
                   "--is_root=false"}),
            std::nullopt);
  EXPECT_FALSE(flags_.enable_connection_event_stats);
  EXPECT_EQ(flags_.connection_event_upload_period, 1);
  EXPECT_TRUE(flags_.enable_client_steering);
  EXPECT_EQ(flags_.client_steering_interval, 2);
  EXPECT_EQ(flags_.client_steering_poll_interval, 3);
  EXPECT_EQ(flags_.client_steering_root_lqm_floor, 4);
  EXPECT_EQ(flags_.client_steering_child_lqm_floor, 5);
  EXPECT_EQ(flags_.client_steering_lqm_hysteresis, 6);
  EXPECT_FALSE(flags_.is_root);
}

struct TwinCase {
  std::vector<const char*> arguments;
  bool is_enabled;

  friend std::ostream& operator<<(std::ostream& stream, const TwinCase& twin) {
    const char* separator = "";
    for (const char* argument : twin.arguments) {
      stream << separator << argument;
      separator = " ";
    }
    return stream;
  }
};

class TwinTest : public OptimizerFlagsTest, public ::testing::WithParamInterface<TwinCase> {};

TEST_P(TwinTest, TheLastOneOnTheCommandLineCounts) {
  std::vector<const char*> argv = {"ap-wavelark"};
  argv.insert(argv.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  ASSERT_EQ(ParseCommandLine(static_cast<int>(argv.size()), argv.data(), &flags_), std::nullopt);
  EXPECT_EQ(flags_.enable_client_steering, GetParam().is_enabled);
}

INSTANTIATE_TEST_SUITE_P(
    Orders, TwinTest,
    ::testing::Values(
        TwinCase{{"--enable_client_steering"}, true},
        TwinCase{{"--enable_client_steering=true"}, true},
        TwinCase{{"--enable_client_steering=1"}, true},
        TwinCase{{"--enable_client_steering=false"}, false},
        TwinCase{{"--enable_client_steering=0"}, false},
        TwinCase{{"--enable_client_steering=yes"}, true},
        TwinCase{{"--noenable_client_steering", "--enable_client_steering=on"}, true},
        TwinCase{{"--enable_client_steering", "--enable_client_steering=no"}, false},
        TwinCase{{"--enable_client_steering", "--enable_client_steering=off"}, false},
        TwinCase{{"--noenable_client_steering=no"}, true},
        TwinCase{{"--noenable_client_steering=off"}, true},
        TwinCase{{"--noenable_client_steering"}, false},
        TwinCase{{"--noenable_client_steering=true"}, false},
        TwinCase{{"--noenable_client_steering=false"}, true},
        TwinCase{{"--noenable_client_steering=0"}, true},
        TwinCase{{"--enable_client_steering", "--noenable_client_steering"}, false},
        TwinCase{{"--noenable_client_steering", "--enable_client_steering"}, true},
        TwinCase{{"--enable_client_steering=false", "--noenable_client_steering=false"}, true},
        TwinCase{{"--noenable_client_steering=false", "--enable_client_steering=false"}, false},
        TwinCase{
            {"--enable_client_steering", "--noenable_client_steering", "--enable_client_steering"},
            true},
        TwinCase{{"--noenable_client_steering", "--enable_client_steering",
                  "--noenable_client_steering"},
                 false}));

TEST_F(OptimizerFlagsTest, TheLastOfARepeatedFlagCounts) {
  EXPECT_EQ(Parse({"--client_steering_interval=1", "--client_steering_interval=2"}), std::nullopt);
  EXPECT_EQ(flags_.client_steering_interval, 2);
}

TEST_F(OptimizerFlagsTest, EveryInt32IsTaken) {
  EXPECT_EQ(Parse({"--client_steering_interval=-5", "--client_steering_poll_interval", "-7",
                   "--connection_event_upload_period=2147483647",
                   "--client_steering_root_lqm_floor=-2147483648",
                   "--client_steering_child_lqm_floor=+8", "--client_steering_lqm_hysteresis=010"}),
            std::nullopt);
  EXPECT_EQ(flags_.client_steering_interval, -5);
  EXPECT_EQ(flags_.client_steering_poll_interval, -7);
  EXPECT_EQ(flags_.connection_event_upload_period, 2147483647);
  EXPECT_EQ(flags_.client_steering_root_lqm_floor, -2147483647 - 1);
  EXPECT_EQ(flags_.client_steering_child_lqm_floor, 8);
  EXPECT_EQ(flags_.client_steering_lqm_hysteresis, 10);
}

TEST_F(OptimizerFlagsTest, IntegersOutsideThirtyTwoBitsAreRefused) {
  ExpectUsageError({"--client_steering_interval=2147483648"},
                   "--client_steering_interval: '2147483648' does not fit into 32 bits");
  ExpectUsageError({"--client_steering_interval=-2147483649"}, "does not fit into 32 bits");
  ExpectUsageError({"--client_steering_interval=99999999999999999999"},
                   "does not fit into 32 bits");
}

TEST_F(OptimizerFlagsTest, WhatIsNoIntegerIsRefused) {
  for (const char* argument : {"--client_steering_interval=abc", "--client_steering_interval=1x",
                               "--client_steering_interval=0x10", "--client_steering_interval=1.5",
                               "--client_steering_interval=+-1", "--client_steering_interval=-",
                               "--client_steering_interval=99999999999999999999x"}) {
    ExpectUsageError({argument}, "is not an integer");
  }
  ExpectUsageError({"--client_steering_interval={}"},
                   "--client_steering_interval: '{}' is no value");
}

TEST_F(OptimizerFlagsTest, WhatIsNoBooleanIsRefused) {
  ExpectUsageError({"--is_root=maybe"}, "--is_root: 'maybe' is neither true nor false");
  ExpectUsageError({"--nois_root=2"}, "--nois_root: '2' is neither true nor false");
  ExpectUsageError({"--is_root={}"}, "--is_root: '{}' is no value");
  ExpectUsageError({"--nois_root={}"}, "--nois_root: '{}' is no value");
}

TEST_F(OptimizerFlagsTest, MissingValuesAreRefused) {
  ExpectUsageError({"--client_steering_interval"}, "--client_steering_interval");
  ExpectUsageError({"--client_steering_interval="}, "--client_steering_interval: missing value");
  ExpectUsageError({"--client_steering_interval=", "5"},
                   "--client_steering_interval: missing value");
  ExpectUsageError({"--is_root="}, "--is_root: missing value");
  ExpectUsageError({"--client_steering_interval", "--is_root"}, "'--is_root' is not an integer");
}

TEST_F(OptimizerFlagsTest, UnknownArgumentsAreRefused) {
  ExpectUsageError({"--frobnicate"}, "--frobnicate");
  ExpectUsageError({"--nov=1"}, "--nov=1");
  ExpectUsageError({"--noclient_steering_interval=1"}, "--noclient_steering_interval=1");
  ExpectUsageError({"--enable_client"}, "--enable_client");
  ExpectUsageError({"positional"}, "positional");
  ExpectUsageError({"--is_root", "false"}, "false");
  ExpectUsageError({"--two\nlines"}, "--two lines");
}

TEST_F(OptimizerFlagsTest, HelpShowsTheNineFlagsAndNotTheirTwins) {
  EXPECT_EQ(Parse({"--help"}), 0);
  EXPECT_EQ(error_, "");
  EXPECT_THAT(out_, StartsWith("/usr/sbin/ap-wavelark\n"));
  const struct {
    const char* flag;
    const char* value;
    const char* text;
  } kRows[] = {
      {"--enable_connection_event_stats", "(default: true)",
       "Enable Connectivity Event stats upload"},
      {"--connection_event_upload_period", "(default: 300)",
       "Time in seconds between connectivity event uploads"},
      {"--enable_client_steering", "(default: false)", "Enable client Steering"},
      {"--client_steering_interval", "(default: 600)",
       "Minimum time in seconds between 2 steer attemepts for a station"},
      {"--client_steering_poll_interval", "(default: 60)", "Periodic Poll interval in seconds"},
      {"--client_steering_root_lqm_floor", "(default: 30)",
       "link quality metric floor value for client steering on root"},
      {"--client_steering_child_lqm_floor", "(default: 40)",
       "link quality metric floor value for client steering on child"},
      {"--client_steering_lqm_hysteresis", "(default: 15)", "link quality metric hysteresis"},
      {"--is_root", "(default: true)", "indicates if this node is root"},
  };
  std::size_t position = 0;
  for (const auto& row : kRows) {
    position = out_.find(std::string("  ") + row.flag + " ", position);
    ASSERT_NE(position, std::string::npos) << row.flag << " in " << out_;
    const std::string line = out_.substr(position, out_.find('\n', position) - position);
    EXPECT_THAT(line, HasSubstr(row.value));
    EXPECT_THAT(line, ::testing::EndsWith(std::string("  ") + row.text));
  }
  EXPECT_THAT(out_, Not(HasSubstr("--no")));
}

TEST_F(OptimizerFlagsTest, VersionIsPrinted) {
  EXPECT_EQ(Parse({"--version"}), 0);
  EXPECT_THAT(out_, ::testing::MatchesRegex("ap-wavelark [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(OptimizerFlagsTest, TheVerboseLevelIsSet) {
  int lines = 0;
  const platform::LogListener listener([&](platform::Severity, std::string_view) { ++lines; });
  EXPECT_EQ(Parse({}), std::nullopt);
  VLOG(1) << "off";
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(Parse({"--v=1"}), std::nullopt);
  VLOG(1) << "on";
  EXPECT_EQ(lines, 1);
  EXPECT_EQ(Parse({"--v=0"}), std::nullopt);
  VLOG(1) << "off";
  EXPECT_EQ(lines, 1);
}

TEST_F(OptimizerFlagsTest, NothingIsSetWhenNothingStarts) {
  EXPECT_EQ(Parse({"--v=1", "--frobnicate"}), 64);
  int lines = 0;
  const platform::LogListener listener([&](platform::Severity, std::string_view) { ++lines; });
  VLOG(1) << "off";
  EXPECT_EQ(lines, 0);
}

}  // namespace
}  // namespace orvane::ap
