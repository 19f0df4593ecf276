#include "optimizer/station_id_generator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr char kMac[] = "00:1a:2b:3c:4d:5e";
constexpr char kUntouched[] = "untouched";

// For the salts "abc", "abc\n", "" and 100,000 times "x", and the address 001a2b3c4d5e.
constexpr char kIdWithAbc[] = "4441EFA3A13148B346D10F64AE6CD432EE98376E1ECF24B77F12B705A5B05502";
constexpr char kIdWithAbcLine[] =
    "0794DAFEA9B9AB2E208AC13D755540075342F937FE820D5A4F1A46BE49CDF77D";
constexpr char kIdWithoutSalt[] =
    "5A777AB1F5DC193F889DCA9A2DE5C3CAE446D9B8AD6BA65769CF2F8AD60F495E";
constexpr char kIdWithLongSalt[] =
    "E6A083DFEDE4ACDF1366FBCDBBFBCDB215016BCE88304E86D2367F15A5226594";
// For the salt 00 ff 0a 00.
constexpr char kIdWithBinarySalt[] =
    "3EBF6993B74DBD19737D350A336B6E691CB03046A329B6A25A19BCDC22AD22AD";

MATCHER(IsSaltWarning, "") {
  return arg.first == platform::Severity::kWarning &&
         arg.second == "Unable to load encryption salt";
}

class StationIdGeneratorTest : public ::testing::Test {
 protected:
  void WriteSalt(std::string_view salt) const {
    std::ofstream(salt_file_, std::ios::binary | std::ios::trunc) << salt;
  }

  static std::string IdOf(StationIdGenerator& generator, std::string_view mac = kMac) {
    std::string id = kUntouched;
    EXPECT_TRUE(generator.GenerateId(MacAddress(mac), &id));
    return id;
  }

  std::string IdWithSalt(std::string_view salt) const {
    WriteSalt(salt);
    StationIdGenerator generator(salt_file_);
    return IdOf(generator);
  }

  // Returns the output of a call that can't read the salt.
  static std::string FailedIdOf(StationIdGenerator& generator) {
    std::string id = kUntouched;
    EXPECT_FALSE(generator.GenerateId(MacAddress(kMac), &id));
    return id;
  }

  testbed::TemporaryDirectory directory_;
  const platform::FilePath salt_file_ = directory_.path() / "salt";
  testbed::LogCapture log_;
};

TEST_F(StationIdGeneratorTest, KnowsWhereTheDeviceKeepsItsSalt) {
  EXPECT_STREQ(StationIdGenerator::kSaltFile, "/var/lib/ap/monitor/station_id_salt");
}

TEST_F(StationIdGeneratorTest, HashesTheSaltAndTheLowerCaseAddress) {
  EXPECT_EQ(IdWithSalt("abc"), kIdWithAbc);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(StationIdGeneratorTest, KeepsEveryByteOfTheSalt) {
  EXPECT_EQ(IdWithSalt("abc\n"), kIdWithAbcLine);
  EXPECT_EQ(IdWithSalt(std::string_view("\x00\xff\n\x00", 4)), kIdWithBinarySalt);
  EXPECT_EQ(IdWithSalt(std::string(100'000, 'x')), kIdWithLongSalt);
}

TEST_F(StationIdGeneratorTest, DistinguishesStations) {
  WriteSalt("abc");
  StationIdGenerator generator(salt_file_);
  EXPECT_NE(IdOf(generator, "00:1a:2b:3c:4d:5f"), kIdWithAbc);
  EXPECT_THAT(IdOf(generator, "ff:ff:ff:ff:ff:ff"), MatchesRegex("[0-9A-F]{64}"));
  // Earlier identifiers have no effect.
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
}

TEST_F(StationIdGeneratorTest, CaseAndSeparatorsOfTheAddressDoNotMatter) {
  WriteSalt("abc");
  StationIdGenerator generator(salt_file_);
  EXPECT_EQ(IdOf(generator, "00:1A:2B:3C:4D:5E"), kIdWithAbc);
  EXPECT_EQ(IdOf(generator, "001a2b3c4d5e"), kIdWithAbc);
}

TEST_F(StationIdGeneratorTest, EachFailureIsLoggedOnceAndLeavesTheOutput) {
  StationIdGenerator generator(salt_file_);
  EXPECT_THAT(log_.lines(), ElementsAre(IsSaltWarning()));
  EXPECT_EQ(FailedIdOf(generator), kUntouched);
  EXPECT_EQ(FailedIdOf(generator), kUntouched);
  EXPECT_THAT(log_.lines(), ElementsAre(IsSaltWarning(), IsSaltWarning(), IsSaltWarning()));
}

TEST_F(StationIdGeneratorTest, ASaltThatAppearsLaterIsRead) {
  StationIdGenerator generator(salt_file_);
  EXPECT_EQ(FailedIdOf(generator), kUntouched);
  WriteSalt("abc");
  log_.Clear();
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(StationIdGeneratorTest, AFileThatCannotBeReadIsAFailure) {
  std::filesystem::create_directory(salt_file_);
  StationIdGenerator generator(salt_file_);
  EXPECT_EQ(FailedIdOf(generator), kUntouched);
  EXPECT_THAT(log_.lines(), ElementsAre(IsSaltWarning(), IsSaltWarning()));
}

TEST_F(StationIdGeneratorTest, AnEmptyFileIsNoSaltAndReadAgainEachTime) {
  WriteSalt("");
  StationIdGenerator generator(salt_file_);
  EXPECT_EQ(IdOf(generator), kIdWithoutSalt);
  EXPECT_EQ(IdOf(generator), kIdWithoutSalt);
  EXPECT_THAT(log_.lines(), IsEmpty());
  std::filesystem::remove(salt_file_);
  EXPECT_EQ(FailedIdOf(generator), kUntouched);
  WriteSalt("abc");
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
}

TEST_F(StationIdGeneratorTest, ASaltOnceReadStays) {
  WriteSalt("abc");
  StationIdGenerator generator(salt_file_);
  WriteSalt("another");
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
  std::filesystem::remove(salt_file_);
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
}

TEST_F(StationIdGeneratorTest, ACopyHasTheSalt) {
  WriteSalt("abc");
  StationIdGenerator generator(salt_file_);
  std::filesystem::remove(salt_file_);
  StationIdGenerator copy = generator;
  EXPECT_EQ(IdOf(copy), kIdWithAbc);
  EXPECT_EQ(IdOf(generator), kIdWithAbc);
}

TEST_F(StationIdGeneratorTest, ReplacesTheWholeOutput) {
  WriteSalt("abc");
  StationIdGenerator generator(salt_file_);
  std::string id(200, '-');
  EXPECT_TRUE(generator.GenerateId(MacAddress(kMac), &id));
  EXPECT_EQ(id, kIdWithAbc);
}

TEST(StationIdGeneratorDeathTest, AnEmptyAddressHasNoIdentifier) {
  const testbed::TemporaryDirectory directory;
  std::ofstream(directory.path() / "salt") << "abc";
  StationIdGenerator generator(directory.path() / "salt");
  std::string id;
  EXPECT_DEATH(generator.GenerateId(MacAddress(), &id), "Check failed: !address_.IsEmpty()");
}

}  // namespace
}  // namespace orvane::ap
