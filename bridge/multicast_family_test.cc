#include "bridge/multicast_family.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testbed/generic_message.h"

namespace orvane::bridge {
namespace {

using simulation::AttributeBuilder;
using testbed::GenericMessage;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

AttributeBuilder Group(const std::string& name, std::uint32_t number) {
  return AttributeBuilder()
      .Text(CTRL_ATTR_MCAST_GRP_NAME, name)
      .U32(CTRL_ATTR_MCAST_GRP_ID, number);
}

TEST(MulticastFamilyTest, ReadsIdAndGroups) {
  const AttributeBuilder groups =
      AttributeBuilder().Nest(1, Group("config", 9)).Nest(2, Group("mlme", 12));
  AttributeBuilder attributes;
  attributes.U16(CTRL_ATTR_FAMILY_ID, 32).Nest(CTRL_ATTR_MCAST_GROUPS, groups);
  const auto family =
      ParseMulticastFamily(GenericMessage(CTRL_CMD_NEWFAMILY, attributes).message());
  ASSERT_TRUE(family.has_value());
  EXPECT_EQ(family->id, 32);
  EXPECT_THAT(family->groups, ElementsAre(Pair("config", 9), Pair("mlme", 12)));
}

TEST(MulticastFamilyTest, SkipsIncompleteGroups) {
  const AttributeBuilder groups =
      AttributeBuilder()
          .Nest(1, AttributeBuilder().U32(CTRL_ATTR_MCAST_GRP_ID, 9))
          .Nest(2, AttributeBuilder().Text(CTRL_ATTR_MCAST_GRP_NAME, "mlme"))
          .Nest(3, Group("", 4));
  AttributeBuilder attributes;
  attributes.U16(CTRL_ATTR_FAMILY_ID, 32).Nest(CTRL_ATTR_MCAST_GROUPS, groups);
  const auto family =
      ParseMulticastFamily(GenericMessage(CTRL_CMD_NEWFAMILY, attributes).message());
  ASSERT_TRUE(family.has_value());
  EXPECT_THAT(family->groups, IsEmpty());
}

TEST(MulticastFamilyTest, RequiresAnId) {
  EXPECT_FALSE(
      ParseMulticastFamily(GenericMessage(CTRL_CMD_NEWFAMILY, AttributeBuilder()).message())
          .has_value());
  const AttributeBuilder attributes = AttributeBuilder().U16(CTRL_ATTR_FAMILY_ID, 32);
  EXPECT_FALSE(
      ParseMulticastFamily(GenericMessage(CTRL_CMD_DELFAMILY, attributes).message()).has_value());
}

}  // namespace
}  // namespace orvane::bridge
