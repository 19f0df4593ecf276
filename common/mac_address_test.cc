#include "common/mac_address.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace orvane::ap {
namespace {

using platform::ByteString;

constexpr std::array<std::uint8_t, 6> kBytes = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};

ByteString Bytes(const std::vector<std::uint8_t>& bytes) { return ByteString(bytes); }

TEST(MacAddressTest, ComesFromSixBytes) {
  const MacAddress address{ByteString(kBytes)};
  EXPECT_EQ(address.ToByteString(), ByteString(kBytes));
  EXPECT_EQ(address.ToHexString(), "001a2b3c4d5e");
  EXPECT_EQ(address.ToString(), "00:1a:2b:3c:4d:5e");
}

TEST(MacAddressTest, IsEmptyByDefault) { EXPECT_TRUE(MacAddress().ToByteString().IsEmpty()); }

class AcceptedTextTest : public testing::TestWithParam<std::string> {};

TEST_P(AcceptedTextTest, GivesTheSixBytes) {
  ByteString bytes;
  EXPECT_TRUE(MacAddress::ConvertHexStringToByteString(GetParam(), &bytes));
  EXPECT_EQ(bytes, ByteString(kBytes));

  MacAddress address;
  EXPECT_TRUE(MacAddress::ParseFromString(GetParam(), &address));
  EXPECT_EQ(address.ToByteString(), ByteString(kBytes));

  EXPECT_TRUE(MacAddress::ConvertHexStringToByteString(GetParam(), nullptr));
  EXPECT_TRUE(MacAddress::ParseFromString(GetParam(), nullptr));
  EXPECT_EQ(MacAddress(GetParam()).ToString(), "00:1a:2b:3c:4d:5e");
  EXPECT_EQ(MacAddress(GetParam()).ToHexString(), "001a2b3c4d5e");
}

INSTANTIATE_TEST_SUITE_P(Texts, AcceptedTextTest,
                         testing::Values("00:1a:2b:3c:4d:5e", "00:1A:2B:3C:4D:5E",
                                         "00-1a-2b-3c-4d-5e", "001a2b3c4d5e", "001A2b3C4d5E",
                                         "0:01a2b-3c4d5e",
                                         "::--001a2b3c4d5e--::", "0-0-1-a-2-b-3-c-4-d-5-e"));

class RefusedTextTest : public testing::TestWithParam<std::string> {};

TEST_P(RefusedTextTest, LeavesNoBytes) {
  ByteString bytes(kBytes);
  EXPECT_FALSE(MacAddress::ConvertHexStringToByteString(GetParam(), &bytes));
  EXPECT_TRUE(bytes.IsEmpty());

  MacAddress address{ByteString(kBytes)};
  EXPECT_FALSE(MacAddress::ParseFromString(GetParam(), &address));
  EXPECT_TRUE(address.ToByteString().IsEmpty());

  EXPECT_FALSE(MacAddress::ConvertHexStringToByteString(GetParam(), nullptr));
  EXPECT_FALSE(MacAddress::ParseFromString(GetParam(), nullptr));
}

INSTANTIATE_TEST_SUITE_P(Texts, RefusedTextTest,
                         testing::Values("", ":", "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:5e:ff",
                                         "00:1a:2b:3c:4d:5", "00:1a:2b:3c:4d:5e:f",
                                         "00:1a:2b:3c:4d:5g", " 001a2b3c4d5e", "001a2b3c4d5e\n",
                                         "00.1a.2b.3c.4d.5e", "0x1a2b3c4d5e",
                                         std::string("001a2b3c4d\0e", 12)));

TEST(MacAddressTest, ParsesSixBytesOnly) {
  MacAddress address;
  EXPECT_TRUE(MacAddress::ParseFromByteString(ByteString(kBytes), &address));
  EXPECT_EQ(address.ToByteString(), ByteString(kBytes));
  for (const std::size_t length : {0, 5, 7}) {
    const std::vector<std::uint8_t> wrong(length, 0xff);
    EXPECT_FALSE(MacAddress::ParseFromByteString(Bytes(wrong), &address));
    EXPECT_EQ(address.ToByteString(), ByteString(kBytes)) << "after " << length << " bytes";
  }
}

TEST(MacAddressTest, DetectsLocallyAdministeredAddresses) {
  EXPECT_FALSE(MacAddress("00:1a:2b:3c:4d:5e").IsLocallyAdministered());
  EXPECT_FALSE(MacAddress("fd:ff:ff:ff:ff:ff").IsLocallyAdministered());
  EXPECT_TRUE(MacAddress("02:00:00:00:00:00").IsLocallyAdministered());
  EXPECT_TRUE(MacAddress("da:a1:19:00:00:01").IsLocallyAdministered());
}

TEST(MacAddressTest, ComparesPrefixes) {
  const MacAddress address{ByteString(kBytes)};
  EXPECT_TRUE(address.HasPrefix(ByteString()));
  EXPECT_TRUE(address.HasPrefix(Bytes({0x00, 0x1a, 0x2b})));
  EXPECT_TRUE(address.HasPrefix(ByteString(kBytes)));
  EXPECT_FALSE(address.HasPrefix(Bytes({0x00, 0x1a, 0x2c})));
  EXPECT_FALSE(address.HasPrefix(Bytes({0x1a, 0x2b})));
  EXPECT_FALSE(address.HasPrefix(Bytes({0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e, 0x00})));
  EXPECT_TRUE(MacAddress().HasPrefix(ByteString()));
  EXPECT_FALSE(MacAddress().HasPrefix(Bytes({0x00})));
}

TEST(MacAddressTest, IsOrderedByItsBytesAsUnsignedNumbers) {
  EXPECT_EQ(MacAddress("00:1A:2B:3C:4D:5E"), MacAddress("001a2b3c4d5e"));
  EXPECT_NE(MacAddress("001a2b3c4d5e"), MacAddress("001a2b3c4d5f"));
  EXPECT_LT(MacAddress(), MacAddress("000000000000"));
  std::map<MacAddress, int> numbers;
  int number = 0;
  for (const char* text : {"ff0000000000", "7f0000000000", "800000000000", "00000000ff00"}) {
    numbers[MacAddress(text)] = ++number;
  }
  std::vector<int> in_order;
  for (const auto& [address, value] : numbers) in_order.push_back(value);
  EXPECT_EQ(in_order, (std::vector<int>{4, 2, 3, 1}));
}

TEST(MacAddressDeathTest, RefusesOtherThanSixBytes) {
  EXPECT_DEATH(MacAddress(Bytes({0xAB, 0x01, 0xff})),
               "Check failed: ParseFromByteString\\(mac_address, this\\) "
               "Invalid MAC address: ab01ff\n");
}

TEST(MacAddressDeathTest, RefusesOtherTexts) {
  EXPECT_DEATH(MacAddress("00:1A:2b:3c:4d"),
               "Check failed: ConvertHexStringToByteString\\(mac_address, &address_\\) "
               "Invalid MAC address: 00:1A:2b:3c:4d\n");
}

TEST(MacAddressDeathTest, RefusesToFormatAnEmptyAddress) {
  const MacAddress empty;
  EXPECT_DEATH(empty.ToHexString(), "Check failed: !address_.IsEmpty\\(\\)\n");
  EXPECT_DEATH(empty.ToString(), "Check failed: !address_.IsEmpty\\(\\)\n");
  EXPECT_DEATH(empty.IsLocallyAdministered(), "Check failed: !address_.IsEmpty\\(\\)\n");
}

}  // namespace
}  // namespace orvane::ap
