#include "tests/soak/verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace orvane::soak {
namespace {

using ::testing::HasSubstr;

// Returns an hour of samples, one per second, each modified by `change`.
std::vector<Sample> Hour(const std::function<void(Sample& sample)>& change = nullptr) {
  std::vector<Sample> samples;
  for (int second = 0; second < 3600; ++second) {
    Sample sample = {.seconds = static_cast<double>(second),
                     .anonymous_kb = 1000 + second % 90,
                     .resident_kb = 9000,
                     .descriptors = 12,
                     .cpu_seconds = second * 0.001,
                     .events = second * 30,
                     .polls = second * 2};
    if (change) change(sample);
    samples.push_back(sample);
  }
  return samples;
}

TEST(VerdictTest, SteadyHourPasses) {
  const Check memory = JudgeMemory(Hour(), {});
  EXPECT_TRUE(memory.holds) << memory.finding;
  EXPECT_THAT(memory.finding, HasSubstr("1045 kB in the second quarter, 1045 kB in the last (+0"));
  const Check cpu = JudgeCpu(Hour(), {});
  EXPECT_TRUE(cpu.holds) << cpu.finding;
  EXPECT_THAT(cpu.finding, HasSubstr("31.2 us in the second quarter, 31.2 us in the last"));
}

TEST(VerdictTest, LeakOfTenBytesPerEventFails) {
  const auto leaking =
      Hour([](Sample& sample) { sample.anonymous_kb += sample.events * 10 / 1024; });
  EXPECT_FALSE(JudgeMemory(leaking, {}).holds);
}

TEST(VerdictTest, GrowthDuringWarmUpPasses) {
  const auto warm = Hour([](Sample& sample) {
    if (sample.seconds > 600) sample.anonymous_kb += 5000;
  });
  EXPECT_TRUE(JudgeMemory(warm, {}).holds);
}

TEST(VerdictTest, PeaksPass) {
  const auto peaks = Hour([](Sample& sample) {
    if (sample.seconds > 3000 && static_cast<int>(sample.seconds) % 3 == 0) {
      sample.anonymous_kb += 5000;
    }
  });
  EXPECT_TRUE(JudgeMemory(peaks, {}).holds);
}

TEST(VerdictTest, UnreadableMemoryFails) {
  EXPECT_FALSE(JudgeMemory(Hour([](Sample& sample) { sample.anonymous_kb = 0; }), {}).holds);
}

TEST(VerdictTest, RisingCostFails) {
  const auto slower = Hour([](Sample& sample) { sample.cpu_seconds *= sample.seconds; });
  EXPECT_FALSE(JudgeCpu(slower, {}).holds);
}

TEST(VerdictTest, NoWorkFails) {
  const auto idle = Hour([](Sample& sample) { sample.events = sample.polls = 0; });
  EXPECT_FALSE(JudgeCpu(idle, {}).holds);
}

TEST(VerdictTest, TooFewSamplesFail) {
  EXPECT_FALSE(JudgeMemory({}, {}).holds);
  EXPECT_FALSE(JudgeCpu(std::vector<Sample>(7), {}).holds);
}

TEST(VerdictTest, OneLeakedDescriptorFails) {
  EXPECT_TRUE(JudgeDescriptors({12, 12, 12}).holds);
  EXPECT_FALSE(JudgeDescriptors({12, 12, 13}).holds);
  EXPECT_FALSE(JudgeDescriptors({}).holds);
}

TEST(VerdictTest, TextNamesFailedChecks) {
  const Check well = {.name = "one", .holds = true, .finding = "1"};
  const Check bad = {.name = "two", .holds = false, .finding = "3"};
  EXPECT_EQ(VerdictText({well}), "good\nok   one: 1\n");
  EXPECT_EQ(VerdictText({well, bad}), "BAD\nok   one: 1\nBAD  two: 3\n");
  EXPECT_EQ(VerdictText({}), "BAD\n");
}

}  // namespace
}  // namespace orvane::soak
