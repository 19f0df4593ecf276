#include "platform/netlink/attribute_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::AttributeBuilder;
using simulation::BytesBuilder;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

// Bytes in an allocation of exactly their size, so that AddressSanitizer detects a read beyond
// them.
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

  EXPECT_THAT(list.Get<std::uint8_t>(1), Optional(0xc4));
  EXPECT_THAT(list.Get<std::uint16_t>(2), Optional(0x1234));
  EXPECT_THAT(list.Get<std::uint32_t>(3), Optional(0xdeadbeef));
  EXPECT_THAT(list.Get<std::int32_t>(3), Optional(static_cast<std::int32_t>(0xdeadbeef)));
  EXPECT_THAT(list.Get<std::uint64_t>(4), Optional(0x0123456789abcdefU));
  EXPECT_TRUE(list.HasFlag(5));
  EXPECT_THAT(list.Find(6).payload(), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_THAT(AttributeList(list.Find(7)).Get<std::uint8_t>(1), Optional(9));
}

TEST(AttributeListTest, AbsentOnesHaveNoValue) {
  const auto bytes = AttributeBuilder().U32(1, 5).bytes();
  const AttributeList list{std::span(bytes)};
  EXPECT_FALSE(list.Find(2));
  EXPECT_EQ(list.Get<std::uint8_t>(2), std::nullopt);
  EXPECT_EQ(list.Get<std::uint64_t>(2), std::nullopt);
  EXPECT_FALSE(list.HasFlag(2));
  EXPECT_THAT(list.Find(2).payload(), IsEmpty());
  EXPECT_THAT(TypesIn(AttributeList(list.Find(2))), IsEmpty());
}

TEST(AttributeListTest, NumbersOfAnotherSizeAreNotRead) {
  for (std::size_t size = 0; size <= 10; ++size) {
    const std::vector<std::uint8_t> payload(size, 1);
    const ExactBytes bytes(AttributeBuilder().Raw(1, payload).bytes());
    const AttributeList list(bytes.span());
    EXPECT_EQ(list.Get<std::uint8_t>(1).has_value(), size == 1) << size;
    EXPECT_EQ(list.Get<std::uint16_t>(1).has_value(), size == 2) << size;
    EXPECT_EQ(list.Get<std::uint32_t>(1).has_value(), size == 4) << size;
    EXPECT_EQ(list.Get<std::uint64_t>(1).has_value(), size == 8) << size;
    EXPECT_EQ(list.HasFlag(1), size == 0) << size;
    EXPECT_TRUE(list.Find(1)) << size;
    EXPECT_EQ(list.Find(1).payload().size(), size);
  }
}

TEST(AttributeListTest, TheFirstOfATypeCounts) {
  const auto bytes = AttributeBuilder().U8(1, 10).U8(1, 20).bytes();
  EXPECT_THAT(AttributeList{std::span(bytes)}.Get<std::uint8_t>(1), Optional(10));
}

TEST(AttributeListTest, TheBitsBesideTheTypeAreIgnored) {
  const auto bytes = AttributeBuilder()
                         .Raw(1 | NLA_F_NESTED, AttributeBuilder().U8(2, 3).bytes())
                         .U8(4 | NLA_F_NET_BYTEORDER, 5)
                         .bytes();
  const AttributeList list{std::span(bytes)};
  EXPECT_THAT(TypesIn(AttributeList(list.Find(1))), ElementsAre(2));
  EXPECT_THAT(TypesIn(list), ElementsAre(1, 4));
}

TEST(AttributeListTest, AnEmptyListHasNothing) {
  EXPECT_THAT(TypesIn(AttributeList()), ElementsAre());
  EXPECT_FALSE(AttributeList().Find(0));
  EXPECT_THAT(TypesIn(AttributeList(Attribute())), ElementsAre());
}

// Attributes before a broken one are read, the broken one and later ones are not. This also holds
// inside nests.
class BrokenTailTest : public testing::TestWithParam<std::vector<std::uint8_t>> {};

TEST_P(BrokenTailTest, EndsTheListAtEveryLevel) {
  const AttributeBuilder inner = AttributeBuilder().U8(1, 2).Tail(GetParam());
  const ExactBytes top(inner.bytes());
  EXPECT_THAT(TypesIn(AttributeList(top.span())), ElementsAre(1));

  std::vector<std::uint8_t> bytes = inner.bytes();
  for (int level = 0; level < 2; ++level) {
    // Unpadded, so that everything behind the nest is out of bounds.
    bytes = BytesBuilder()
                .Value(nlattr{static_cast<std::uint16_t>(NLA_HDRLEN + bytes.size()), 9})
                .Append(bytes)
                .bytes();
    const ExactBytes exact(bytes);
    AttributeList list(exact.span());
    for (int depth = 0; depth <= level; ++depth) {
      ASSERT_THAT(TypesIn(list), ElementsAre(9));
      list = AttributeList(list.Find(9));
    }
    EXPECT_THAT(TypesIn(list), ElementsAre(1));
  }
}

std::vector<std::uint8_t> Header(std::uint16_t length) {
  return BytesBuilder().Value(nlattr{length, 5}).bytes();
}

INSTANTIATE_TEST_SUITE_P(Edges, BrokenTailTest,
                         testing::Values(std::vector<std::uint8_t>{},   // empty
                                         std::vector<std::uint8_t>{8},  // too short for a header
                                         std::vector<std::uint8_t>{8, 0, 5},  //
                                         Header(0), Header(3),  // length below the header's
                                         Header(5), Header(8),
                                         Header(0xffff),                    // length beyond the end
                                         std::vector<std::uint8_t>(64, 0),  // zeros
                                         std::vector<std::uint8_t>(61, 0xff)));  // all ones

TEST(AttributeListTest, ThePaddingOfTheLastOneMayBeMissing) {
  const ExactBytes bytes(BytesBuilder().Value(nlattr{5, 1}).Value(std::uint8_t{42}).bytes());
  EXPECT_THAT(AttributeList(bytes.span()).Get<std::uint8_t>(1), Optional(42));
  EXPECT_THAT(TypesIn(AttributeList(bytes.span())), ElementsAre(1));
}

TEST(AttributeListTest, MisalignedBytesAreRead) {
  const auto aligned = AttributeBuilder().U8(9, 0).U64(1, 77).bytes();
  std::vector<std::uint8_t> bytes = {0};
  bytes.insert(bytes.end(), aligned.begin(), aligned.end());
  EXPECT_THAT(AttributeList(std::span(bytes).subspan(1)).Get<std::uint64_t>(1), Optional(77));
}

TEST(AttributeListTest, ANestThatIsLongerThanItsParentIsNotThere) {
  const auto nested = AttributeBuilder().U8(1, 1).bytes();
  const auto bytes = AttributeBuilder().Lying(2, NLA_HDRLEN + nested.size() + 4, nested).bytes();
  EXPECT_FALSE(AttributeList{std::span(bytes)}.Find(2));
}

TEST(AttributeListTest, ANestDoesNotReachIntoWhatFollowsIt) {
  const auto nested = AttributeBuilder().Lying(1, 12, {}).bytes();  // would include the next one
  const auto bytes = AttributeBuilder().Raw(2, nested).U32(3, 4).bytes();
  const Attribute nest = AttributeList{std::span(bytes)}.Find(2);
  ASSERT_TRUE(nest);
  EXPECT_THAT(TypesIn(AttributeList(nest)), IsEmpty());
}

}  // namespace
}  // namespace orvane::platform
