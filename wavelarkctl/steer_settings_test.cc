#include "wavelarkctl/steer_settings.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "optimizer/optimizer_flags.h"
#include "testbed/temporary_directory.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

ap::OptimizerFlags With(const std::string& text) {
  ap::OptimizerFlags settings = DefaultSteerSettings();
  ApplyFlag(text, &settings);
  return settings;
}

TEST(SteerSettingsTest, TheDefaultsAreTheDaemons) {
  const ap::OptimizerFlags settings = DefaultSteerSettings();
  EXPECT_TRUE(settings.enable_client_steering);
  const ap::ClientSteerSettings policy = PolicyOf(settings);
  EXPECT_TRUE(policy.is_root);
  EXPECT_EQ(policy.steer_interval, 600s);
  EXPECT_EQ(policy.poll_interval, 60s);
  EXPECT_EQ(policy.root_lqm_floor, 30);
  EXPECT_EQ(policy.child_lqm_floor, 40);
  EXPECT_EQ(policy.lqm_hysteresis, 15);
}

TEST(SteerSettingsTest, EachFlagSetsItsOwnSetting) {
  EXPECT_EQ(PolicyOf(With("client_steering_interval=-5")).steer_interval, -5s);
  EXPECT_EQ(PolicyOf(With("client_steering_poll_interval=7")).poll_interval, 7s);
  EXPECT_EQ(PolicyOf(With("client_steering_root_lqm_floor=300")).root_lqm_floor, 44);
  EXPECT_EQ(PolicyOf(With("client_steering_child_lqm_floor=8")).child_lqm_floor, 8);
  EXPECT_EQ(PolicyOf(With("client_steering_lqm_hysteresis=-1")).lqm_hysteresis, 255);
  EXPECT_FALSE(PolicyOf(With("is_root=no")).is_root);
}

TEST(SteerSettingsTest, AKeyOfTheFlagsServiceIsAFlagToo) {
  EXPECT_EQ(With("clientSteeringRootLqmFloor=20").client_steering_root_lqm_floor, 20);
}

// The daemon's own parser knows each name, and sets the same field.
TEST(SteerSettingsTest, EachFlagIsOneOfTheDaemon) {
  for (const SteerFlag& flag : kSteerFlags) {
    const std::string argument = fmt::format("--{}=77", flag.name);
    const char* arguments[] = {"", argument.c_str()};
    ap::OptimizerFlags flags;
    EXPECT_EQ(ap::ParseCommandLine(2, arguments, &flags), std::nullopt) << flag.name;
    EXPECT_EQ(flags.*flag.field, 77) << flag.name;
  }
}

std::string RefusalOf(const std::string& text) {
  try {
    With(text);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::kUsage);
    return failure.what();
  }
  return "";
}

TEST(SteerSettingsTest, OtherTextsAreRefused) {
  EXPECT_THAT(RefusalOf("floor=3"), HasSubstr("floor is not a numeric steering flag: client_"));
  EXPECT_THAT(RefusalOf("client_steering_interval"), HasSubstr("no value"));
  EXPECT_THAT(RefusalOf("client_steering_interval="), HasSubstr("not an integer"));
  EXPECT_THAT(RefusalOf("client_steering_interval=5s"), HasSubstr("not an integer"));
  EXPECT_THAT(RefusalOf("client_steering_interval=2147483648"), HasSubstr("not an integer"));
  EXPECT_THAT(RefusalOf("is_root=maybe"), HasSubstr("neither true nor false"));
}

class FlagsFileTest : public ::testing::Test {
 protected:
  platform::FilePath Write(const std::string& text) {
    const platform::FilePath path = directory_.path() / "some.conf";
    testbed::WriteFile(path, text);
    return path;
  }

  testbed::TemporaryDirectory directory_;
  ap::OptimizerFlags settings_ = DefaultSteerSettings();
};

TEST_F(FlagsFileTest, ChangesTheSettingsThatItNames) {
  const auto path = Write(
      "clientSteeringRootLqmFloor=35\nclientSteeringInterval = 60\nclientSteering=disabled\n");
  EXPECT_THAT(ApplyFlagsFile(path, &settings_), IsEmpty());
  EXPECT_EQ(settings_.client_steering_root_lqm_floor, 35);
  EXPECT_EQ(settings_.client_steering_interval, 60);
  EXPECT_EQ(settings_.client_steering_poll_interval, 60);
  EXPECT_FALSE(settings_.enable_client_steering);
}

TEST_F(FlagsFileTest, AnUnknownKeyIsAWarning) {
  const auto path = Write("other=1\n");
  EXPECT_THAT(ApplyFlagsFile(path, &settings_),
              ElementsAre(path.native() + ":1: unknown key other"));
}

TEST_F(FlagsFileTest, AWrongOrMissingFileIsRefused) {
  const auto status_of = [&](const platform::FilePath& path) {
    try {
      ApplyFlagsFile(path, &settings_);
    } catch (const Failure& failure) {
      EXPECT_THAT(failure.what(), HasSubstr(path.native() + ":"));
      return failure.status();
    }
    return ExitStatus::kOk;
  };
  EXPECT_EQ(status_of(Write("clientSteeringRootLqmFloor=300\n")), ExitStatus::kData);
  EXPECT_EQ(status_of(directory_.path() / "none.conf"), ExitStatus::kUnavailable);
  // ap-wavelark-flags refuses it, too.
  const std::string key = "clientSteeringRootLqmFloor=35\n";
  EXPECT_EQ(status_of(Write(key + std::string((64 << 10) - key.size(), '\n'))), ExitStatus::kOk);
  EXPECT_EQ(status_of(Write(key + std::string((64 << 10) - key.size() + 1, '\n'))),
            ExitStatus::kData);
}

TEST(SteerLimitsTest, TheRoleChoosesTheFloor) {
  EXPECT_EQ(LimitsOf(PolicyOf(With("is_root=true"))).lqm_floor, 30);
  EXPECT_EQ(LimitsOf(PolicyOf(With("is_root=false"))).lqm_floor, 40);
}

}  // namespace
}  // namespace orvane::wavelarkctl
