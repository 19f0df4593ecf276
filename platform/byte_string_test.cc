#include "platform/byte_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace orvane::platform {
namespace {

ByteString Bytes(const std::vector<std::uint8_t>& bytes) { return ByteString(bytes); }

TEST(ByteStringTest, IsEmptyByDefault) {
  const ByteString bytes;
  EXPECT_TRUE(bytes.IsEmpty());
  EXPECT_EQ(bytes.GetLength(), 0U);
  EXPECT_TRUE(bytes.AsSpan().empty());
  EXPECT_EQ(bytes.HexEncode(), "");
}

TEST(ByteStringTest, HoldsACopyOfAnyBytes) {
  std::vector<std::uint8_t> source = {0x00, 0xff, 0x00, 0x7f};
  const ByteString bytes(source);
  source.assign(4, 0x11);
  EXPECT_FALSE(bytes.IsEmpty());
  EXPECT_EQ(bytes.GetLength(), 4U);
  EXPECT_EQ(bytes.GetConstData()[1], 0xff);
  EXPECT_TRUE(
      std::ranges::equal(bytes.AsSpan(), std::vector<std::uint8_t>{0x00, 0xff, 0x00, 0x7f}));
  EXPECT_EQ(bytes.HexEncode(), "00ff007f");
}

TEST(ByteStringTest, ComesFromHexadecimalText) {
  EXPECT_EQ(ByteString::CreateFromHexString("00aBFf"), Bytes({0x00, 0xab, 0xff}));
  EXPECT_TRUE(ByteString::CreateFromHexString("").IsEmpty());
  EXPECT_TRUE(ByteString::CreateFromHexString("0").IsEmpty());
  EXPECT_TRUE(ByteString::CreateFromHexString("00:aB").IsEmpty());
}

TEST(ByteStringTest, ComparesAPrefixByteByByte) {
  const ByteString bytes = Bytes({0x00, 0xff, 0x01});
  EXPECT_TRUE(bytes.BeginsWith(ByteString()));
  EXPECT_TRUE(bytes.BeginsWith(Bytes({0x00, 0xff})));
  EXPECT_TRUE(bytes.BeginsWith(bytes));
  EXPECT_FALSE(bytes.BeginsWith(Bytes({0x00, 0xfe})));
  EXPECT_FALSE(bytes.BeginsWith(Bytes({0x00, 0xff, 0x01, 0x00})));
}

TEST(ByteStringTest, ClearLeavesNothing) {
  ByteString bytes = Bytes({1, 2});
  bytes.Clear();
  EXPECT_EQ(bytes, ByteString());
}

TEST(ByteStringTest, IsOrderedByUnsignedBytesAndAPrefixComesFirst) {
  const std::vector<ByteString> in_order = {ByteString(),        Bytes({0x00}), Bytes({0x00, 0x00}),
                                            Bytes({0x7f, 0xff}), Bytes({0x80}), Bytes({0xff})};
  EXPECT_TRUE(std::ranges::is_sorted(in_order));
  EXPECT_LT(Bytes({0x7f}), Bytes({0x80}));
  EXPECT_NE(Bytes({0x00}), Bytes({0x00, 0x00}));
}

}  // namespace
}  // namespace orvane::platform
