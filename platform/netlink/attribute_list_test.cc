#include "platform/netlink/attribute_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <span>
#include <vector>

#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::AttributeBuilder;
using simulation::BytesBuilder;

using testing::ElementsAre;

// Bytes in a block of just their size, so that AddressSanitizer sees a step over the end.
class ExactBytes {
 public:
  explicit ExactBytes(std::span<const std::uint8_t> bytes)
      : size_(bytes.size()), bytes_(std::make_unique<std::uint8_t[]>(bytes.size())) {
    if (!bytes.empty()) std::memcpy(bytes_.get(), bytes.data(), bytes.size());
  }
  std::span<const std::uint8_t> span() const { return {bytes_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

std::vector<int> TypesIn(const AttributeList& list) {
  std::vector<int> types;
  for (const Attribute& attribute : list) types.push_back(attribute.type());
  return types;
}

TEST(AttributeListTest, ReadsEachKindOfValue) {
  const auto bytes = AttributeBuilder()
                         .U8(1, 0xc4)
                         .U16(2, 0x1234)
                         .U32(3, 0xdeadbeef)
                         .U64(4, 0x0123456789abcdef)
                         .Flag(5)
                         .Raw(6, {1, 2, 3, 4, 5, 6})
                         .Nest(7, AttributeBuilder().U8(1, 9))
                         .bytes();
  const AttributeList list{std::span(bytes)};

  std::uint8_t u8 = 0;
  EXPECT_TRUE(list.GetU8AttributeValue(1, &u8));
  EXPECT_EQ(u8, 0xc4);
  std::uint16_t u16 = 0;
  EXPECT_TRUE(list.GetU16AttributeValue(2, &u16));
  EXPECT_EQ(u16, 0x1234);
  std::uint32_t u32 = 0;
  EXPECT_TRUE(list.GetU32AttributeValue(3, &u32));
  EXPECT_EQ(u32, 0xdeadbeef);
  std::uint64_t u64 = 0;
  EXPECT_TRUE(list.GetU64AttributeValue(4, &u64));
  EXPECT_EQ(u64, 0x0123456789abcdefU);
  bool flag = false;
  EXPECT_TRUE(list.GetFlagAttributeValue(5, &flag));
  EXPECT_TRUE(flag);
  ByteString raw;
  EXPECT_TRUE(list.GetRawAttributeValue(6, &raw));
  EXPECT_EQ(raw.HexEncode(), "010203040506");
  AttributeList nested;
  ASSERT_TRUE(list.ConstGetNestedAttributeList(7, &nested));
  EXPECT_TRUE(nested.GetU8AttributeValue(1, &u8));
  EXPECT_EQ(u8, 9);
}

TEST(AttributeListTest, AbsentValuesReportFalseAndChangeNothing) {
  const auto bytes = AttributeBuilder().U32(1, 5).bytes();
  const AttributeList list{std::span(bytes)};
  std::uint8_t u8 = 7;
  std::uint16_t u16 = 7;
  std::uint32_t u32 = 7;
  std::uint64_t u64 = 7;
  bool flag = true;
  ByteString raw = ByteString::CreateFromHexString("07");
  AttributeList nested(std::span{bytes});
  EXPECT_FALSE(list.GetU8AttributeValue(2, &u8));
  EXPECT_FALSE(list.GetU16AttributeValue(2, &u16));
  EXPECT_FALSE(list.GetU32AttributeValue(2, &u32));
  EXPECT_FALSE(list.GetU64AttributeValue(2, &u64));
  EXPECT_FALSE(list.GetFlagAttributeValue(2, &flag));
  EXPECT_FALSE(list.GetRawAttributeValue(2, &raw));
  EXPECT_FALSE(list.ConstGetNestedAttributeList(2, &nested));
  EXPECT_EQ(u8, 7);
  EXPECT_EQ(u16, 7);
  EXPECT_EQ(u32, 7U);
  EXPECT_EQ(u64, 7U);
  EXPECT_TRUE(flag);
  EXPECT_EQ(raw.HexEncode(), "07");
  EXPECT_THAT(TypesIn(nested), ElementsAre(1));
}

TEST(AttributeListTest, NumbersOfAnotherSizeReportFalse) {
  for (std::size_t size = 0; size <= 10; ++size) {
    const std::vector<std::uint8_t> payload(size, 1);
    const ExactBytes bytes(AttributeBuilder().Raw(1, payload).bytes());
    const AttributeList list(bytes.span());
    std::uint8_t u8 = 0;
    std::uint16_t u16 = 0;
    std::uint32_t u32 = 0;
    std::uint64_t u64 = 0;
    bool flag = false;
    EXPECT_EQ(list.GetU8AttributeValue(1, &u8), size == 1) << size;
    EXPECT_EQ(list.GetU16AttributeValue(1, &u16), size == 2) << size;
    EXPECT_EQ(list.GetU32AttributeValue(1, &u32), size == 4) << size;
    EXPECT_EQ(list.GetU64AttributeValue(1, &u64), size == 8) << size;
    EXPECT_EQ(list.GetFlagAttributeValue(1, &flag), size == 0) << size;
    ByteString raw;
    EXPECT_TRUE(list.GetRawAttributeValue(1, &raw)) << size;
    EXPECT_EQ(raw.GetLength(), size);
  }
}

TEST(AttributeListTest, TheFirstOfATypeCounts) {
  const auto bytes = AttributeBuilder().U8(1, 10).U8(1, 20).bytes();
  std::uint8_t value = 0;
  EXPECT_TRUE(AttributeList{std::span(bytes)}.GetU8AttributeValue(1, &value));
  EXPECT_EQ(value, 10);
}

TEST(AttributeListTest, TheBitsBesideTheTypeAreIgnored) {
  const auto bytes = AttributeBuilder()
                         .Raw(1 | NLA_F_NESTED, AttributeBuilder().U8(2, 3).bytes())
                         .U8(4 | NLA_F_NET_BYTEORDER, 5)
                         .bytes();
  const AttributeList list{std::span(bytes)};
  AttributeList nested;
  EXPECT_TRUE(list.ConstGetNestedAttributeList(1, &nested));
  EXPECT_THAT(TypesIn(nested), ElementsAre(2));
  EXPECT_THAT(TypesIn(list), ElementsAre(1, 4));
}

TEST(AttributeListTest, AnEmptyListHasNothing) {
  EXPECT_THAT(TypesIn(AttributeList()), ElementsAre());
  EXPECT_FALSE(AttributeList().Find(0));
  EXPECT_THAT(TypesIn(AttributeList(Attribute())), ElementsAre());
}

// What stands before a broken attribute is read, and nothing from it on; also inside a nest, and in
// a nest of a nest.
class BrokenTailTest : public testing::TestWithParam<std::vector<std::uint8_t>> {};

TEST_P(BrokenTailTest, EndsTheListAtEveryLevel) {
  const AttributeBuilder inner = AttributeBuilder().U8(1, 2).Tail(GetParam());
  const ExactBytes top(inner.bytes());
  EXPECT_THAT(TypesIn(AttributeList(top.span())), ElementsAre(1));

  std::vector<std::uint8_t> bytes = inner.bytes();
  for (int level = 0; level < 2; ++level) {
    // Unpadded, so that what follows the nest is out of bounds.
    bytes = BytesBuilder()
                .Value(nlattr{static_cast<std::uint16_t>(NLA_HDRLEN + bytes.size()), 9})
                .Append(bytes)
                .bytes();
    const ExactBytes exact(bytes);
    AttributeList list(exact.span());
    for (int depth = 0; depth <= level; ++depth) {
      ASSERT_THAT(TypesIn(list), ElementsAre(9));
      ASSERT_TRUE(list.ConstGetNestedAttributeList(9, &list));
    }
    EXPECT_THAT(TypesIn(list), ElementsAre(1));
  }
}

std::vector<std::uint8_t> Header(std::uint16_t length) {
  return BytesBuilder().Value(nlattr{length, 5}).bytes();
}

INSTANTIATE_TEST_SUITE_P(Edges, BrokenTailTest,
                         testing::Values(std::vector<std::uint8_t>{},   // nothing at all
                                         std::vector<std::uint8_t>{8},  // too short for a header
                                         std::vector<std::uint8_t>{8, 0, 5},  //
                                         Header(0), Header(3),  // length below the header's
                                         Header(5), Header(8),
                                         Header(0xffff),                    // length beyond the end
                                         std::vector<std::uint8_t>(64, 0),  // zeroes
                                         std::vector<std::uint8_t>(61, 0xff)));  // and ones

TEST(AttributeListTest, ThePaddingOfTheLastOneMayBeMissing) {
  const ExactBytes bytes(BytesBuilder().Value(nlattr{5, 1}).Value(std::uint8_t{42}).bytes());
  std::uint8_t value = 0;
  EXPECT_TRUE(AttributeList(bytes.span()).GetU8AttributeValue(1, &value));
  EXPECT_EQ(value, 42);
  EXPECT_THAT(TypesIn(AttributeList(bytes.span())), ElementsAre(1));
}

TEST(AttributeListTest, MisalignedBytesAreRead) {
  const auto aligned = AttributeBuilder().U8(9, 0).U64(1, 77).bytes();
  std::vector<std::uint8_t> bytes = {0};
  bytes.insert(bytes.end(), aligned.begin(), aligned.end());
  std::uint64_t value = 0;
  EXPECT_TRUE(AttributeList(std::span(bytes).subspan(1)).GetU64AttributeValue(1, &value));
  EXPECT_EQ(value, 77U);
}

TEST(AttributeListTest, ANestThatIsLongerThanItsParentIsNotThere) {
  const auto nested = AttributeBuilder().U8(1, 1).bytes();
  const auto bytes = AttributeBuilder().Lying(2, NLA_HDRLEN + nested.size() + 4, nested).bytes();
  AttributeList list;
  EXPECT_FALSE(AttributeList{std::span(bytes)}.ConstGetNestedAttributeList(2, &list));
}

TEST(AttributeListTest, ANestDoesNotReachIntoWhatFollowsIt) {
  const auto nested = AttributeBuilder().Lying(1, 12, {}).bytes();  // would swallow the next one
  const auto bytes = AttributeBuilder().Raw(2, nested).U32(3, 4).bytes();
  AttributeList list;
  ASSERT_TRUE(AttributeList{std::span(bytes)}.ConstGetNestedAttributeList(2, &list));
  EXPECT_THAT(TypesIn(list), ElementsAre());
}

}  // namespace
}  // namespace orvane::platform
