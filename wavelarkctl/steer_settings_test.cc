#include "wavelarkctl/steer_settings.h"

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

SteerSettings With(const std::string& text) {
  SteerSettings settings = DefaultSteerSettings();
  ApplyFlag(text, &settings);
  return settings;
}

TEST(SteerSettingsTest, TheDefaultsAreTheDaemons) {
  const SteerSettings settings = DefaultSteerSettings();
  EXPECT_TRUE(settings.is_enabled);
  EXPECT_TRUE(settings.policy.is_root);
  EXPECT_EQ(settings.policy.steer_interval, 600s);
  EXPECT_EQ(settings.policy.poll_interval, 60s);
  EXPECT_EQ(settings.policy.root_lqm_floor, 30);
  EXPECT_EQ(settings.policy.child_lqm_floor, 40);
  EXPECT_EQ(settings.policy.lqm_hysteresis, 15);
}

TEST(SteerSettingsTest, EachFlagSetsItsOwnSetting) {
  EXPECT_EQ(With("client_steering_interval=-5").policy.steer_interval, -5s);
  EXPECT_EQ(With("client_steering_poll_interval=7").policy.poll_interval, 7s);
  EXPECT_EQ(With("client_steering_root_lqm_floor=300").policy.root_lqm_floor, 44);
  EXPECT_EQ(With("client_steering_child_lqm_floor=8").policy.child_lqm_floor, 8);
  EXPECT_EQ(With("client_steering_lqm_hysteresis=-1").policy.lqm_hysteresis, 255);
  EXPECT_FALSE(With("is_root=no").policy.is_root);
}

// The names are the daemon's own: its parser knows each of them.
TEST(SteerSettingsTest, EachFlagIsOneOfTheDaemon) {
  const ap::OptimizerFlags defaults;
  for (const std::string name :
       {"client_steering_interval", "client_steering_poll_interval",
        "client_steering_root_lqm_floor", "client_steering_child_lqm_floor",
        "client_steering_lqm_hysteresis"}) {
    const std::string argument = "--" + name + "=77";
    const char* arguments[] = {"", argument.c_str()};
    ap::OptimizerFlags flags;
    EXPECT_EQ(ap::ParseCommandLine(2, arguments, &flags), std::nullopt) << name;
    EXPECT_NO_THROW(With(name + "=77")) << name;
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

TEST(SteerSettingsTest, AnythingElseIsRefused) {
  EXPECT_THAT(RefusalOf("floor=3"), HasSubstr("client_steering_root_lqm_floor, "));
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
  SteerSettings settings_ = DefaultSteerSettings();
};

TEST_F(FlagsFileTest, ChangesWhatItNames) {
  const auto path = Write(
      "clientSteeringRootLqmFloor=35\nclientSteeringInterval = 60\nclientSteering=disabled\n");
  EXPECT_THAT(ApplyFlagsFile(path, &settings_), IsEmpty());
  EXPECT_EQ(settings_.policy.root_lqm_floor, 35);
  EXPECT_EQ(settings_.policy.steer_interval, 60s);
  EXPECT_EQ(settings_.policy.poll_interval, 60s);
  EXPECT_FALSE(settings_.is_enabled);
}

TEST_F(FlagsFileTest, AnUnknownKeyIsAWarning) {
  const auto path = Write("other=1\n");
  EXPECT_THAT(ApplyFlagsFile(path, &settings_),
              ElementsAre(path.native() + ":1: unknown key other"));
}

TEST_F(FlagsFileTest, AWrongFileOrNoneIsRefused) {
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
}

TEST(SteerLimitsTest, TheFloorInForceIsThatOfTheRole) {
  EXPECT_EQ(LimitsOf(With("is_root=true").policy).lqm_floor, 30);
  EXPECT_EQ(LimitsOf(With("is_root=false").policy).lqm_floor, 40);
}

}  // namespace
}  // namespace orvane::wavelarkctl
