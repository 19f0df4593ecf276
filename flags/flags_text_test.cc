#include "flags/flags_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "common/run_time_flags.h"

namespace orvane::flags {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Reading Read(std::string_view text) {
  Reading reading;
  ReadFlags("f", text, &reading);
  return reading;
}

// Returns the only error of a line.
std::string ErrorOf(const std::string& line) {
  const Reading reading = Read(line + "\n");
  EXPECT_THAT(reading.flags, IsEmpty()) << line;
  EXPECT_EQ(reading.errors.size(), 1U) << line;
  return reading.errors.empty() ? "" : reading.errors.front();
}

TEST(FlagsTextTest, LinesAreKeysAndValues) {
  const Reading reading = Read(
      "# a comment = none\n"
      "\n"
      "clientSteering=enabled\n"
      "\t clientSteeringInterval =  60\t\r\n"
      "  # another\n"
      "connectionEventsUpload=-1\n");
  EXPECT_THAT(reading.errors, IsEmpty());
  EXPECT_THAT(reading.warnings, IsEmpty());
  EXPECT_THAT(reading.flags,
              ElementsAre(Pair("clientSteering", "enabled"), Pair("clientSteeringInterval", "60"),
                          Pair("connectionEventsUpload", "-1")));
}

TEST(FlagsTextTest, TheLastValueOfAKeyWins) {
  Reading reading = Read("clientSteeringInterval=1\nclientSteeringInterval=2\n");
  EXPECT_THAT(reading.flags, ElementsAre(Pair("clientSteeringInterval", "2")));
  ReadFlags("g", "clientSteeringInterval=3\n", &reading);
  EXPECT_THAT(reading.flags, ElementsAre(Pair("clientSteeringInterval", "3")));
}

TEST(FlagsTextTest, AnUnknownKeyIsAcceptedWithAWarning) {
  const Reading reading = Read("\nsomething=a=b \nempty=\n");
  EXPECT_THAT(reading.flags, ElementsAre(Pair("empty", ""), Pair("something", "a=b")));
  EXPECT_THAT(reading.warnings,
              ElementsAre("f:2: unknown key something", "f:3: unknown key empty"));
}

TEST(FlagsTextTest, ABadLineIsReportedWithItsPlace) {
  const Reading reading = Read("clientSteering=enabled\nclientSteering\n=1\n");
  EXPECT_THAT(reading.errors, ElementsAre("f:2: no \"=\"", "f:3: no key before \"=\""));
}

TEST(FlagsTextTest, ALastLineWithoutLineFeedIsAnError) {
  EXPECT_THAT(Read("clientSteeringInterval=60").errors, ElementsAre("f:1: no line end"));
  EXPECT_THAT(Read("clientSteeringInterval=60\n# done").errors, IsEmpty());
}

TEST(FlagsTextTest, UnprintableOrOverlongTextIsRejected) {
  EXPECT_EQ(ErrorOf("key=\xff"), "f:1: not printable ASCII");
  EXPECT_EQ(ErrorOf("key=\x1b[2J"), "f:1: not printable ASCII");
  EXPECT_EQ(ErrorOf(std::string("key=a\0b", 7)), "f:1: not printable ASCII");
  EXPECT_EQ(ErrorOf("key=" + std::string(kMaxLineLength - 3, 'x')), "f:1: over 1024 characters");
  EXPECT_THAT(Read("key=" + std::string(kMaxLineLength - 4, 'x') + "\n").errors, IsEmpty());
}

TEST(FlagsTextTest, ASwitchHasTwoWords) {
  for (const char* word : {"", "Enabled", "on", "1", "enabled disabled"}) {
    EXPECT_EQ(ErrorOf(std::string("connectionEvents=") + word),
              "f:1: the value of connectionEvents is neither enabled nor disabled");
  }
  EXPECT_THAT(Read("connectionEvents=disabled\n").errors, IsEmpty());
}

// The first values would abort the daemon, and it would misread the others.
TEST(FlagsTextTest, NonNumericValuesAreRejected) {
  for (const char* text : {"abc", "", "-", "60s", "0x3c", "6 0", "1.5", "+5", "٣"}) {
    const std::string line = std::string("connectionEventsUpload=") + text;
    const std::string reason = text == std::string("٣") ? "not printable ASCII"
                                                        : "the value of connectionEventsUpload is "
                                                          "not a number";
    EXPECT_EQ(ErrorOf(line), "f:1: " + reason);
  }
}

TEST(FlagsTextTest, NumbersThatTheDaemonWouldTruncateAreRejected) {
  EXPECT_EQ(ErrorOf("clientSteeringRootLqmFloor=300"),
            "f:1: the value of clientSteeringRootLqmFloor is not from 0 to 255 (link quality "
            "metric)");
  EXPECT_EQ(ErrorOf("clientSteeringPollInterval=0"),
            "f:1: the value of clientSteeringPollInterval is not from 1 to 2147483647 (seconds)");
  EXPECT_EQ(ErrorOf("clientSteeringInterval=99999999999999999999"),
            "f:1: the value of clientSteeringInterval is not from 1 to 2147483647 (seconds)");
}

// Values at the bounds of the table are accepted, values beyond them are not.
TEST(FlagsTextTest, BoundsAreThoseOfTheTable) {
  for (const ap::RunTimeFlag& flag : ap::kRunTimeFlags) {
    if (flag.kind != ap::RunTimeFlag::Kind::kNumber) continue;
    const std::string key = std::string(flag.key) + "=";
    EXPECT_THAT(Read(key + std::to_string(flag.least) + "\n").errors, IsEmpty());
    EXPECT_THAT(Read(key + std::to_string(flag.greatest) + "\n").errors, IsEmpty());
    ErrorOf(key + std::to_string(std::int64_t{flag.least} - 1));
    ErrorOf(key + std::to_string(std::int64_t{flag.greatest} + 1));
  }
}

}  // namespace
}  // namespace orvane::flags
