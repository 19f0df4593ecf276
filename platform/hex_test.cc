#include "platform/hex.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvane::platform {
namespace {

std::string EveryByte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

std::span<const std::uint8_t> AsBytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(HexTest, EncodesInEitherCase) {
  const std::vector<std::uint8_t> bytes = {0x00, 0x0f, 0xf0, 0xab, 0xff};
  EXPECT_EQ(HexEncode(bytes, HexCase::kLower), "000ff0abff");
  EXPECT_EQ(HexEncode(bytes, HexCase::kUpper), "000FF0ABFF");
  EXPECT_EQ(HexEncode({}, HexCase::kLower), "");
}

TEST(HexTest, DecodesEitherCase) {
  EXPECT_EQ(HexDecode("00ff1aA1"), std::string("\x00\xff\x1a\xa1", 4));
  EXPECT_EQ(HexDecode(""), "");
}

TEST(HexTest, GivesBackEveryByte) {
  for (const HexCase letters : {HexCase::kLower, HexCase::kUpper}) {
    EXPECT_EQ(HexDecode(HexEncode(AsBytes(EveryByte()), letters)), EveryByte());
  }
}

TEST(HexTest, RefusesAnOddNumberOfDigits) {
  EXPECT_EQ(HexDecode("0"), std::nullopt);
  EXPECT_EQ(HexDecode("001"), std::nullopt);
}

TEST(HexTest, RefusesEveryOtherCharacterInEitherPlace) {
  const std::string digits = "0123456789abcdefABCDEF";
  for (const char character : EveryByte()) {
    const bool is_digit = digits.find(character) != std::string::npos;
    EXPECT_EQ(HexDecode(std::string{character, '0'}).has_value(), is_digit) << int{character};
    EXPECT_EQ(HexDecode(std::string{'0', character}).has_value(), is_digit) << int{character};
  }
}

}  // namespace
}  // namespace orvane::platform
