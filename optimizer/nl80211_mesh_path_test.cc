#include "optimizer/nl80211_mesh_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cstdint>
#include <vector>

#include "simulation/message_builder.h"
#include "testbed/generic_message.h"

namespace orvane::ap {
namespace {

using testbed::GenericMessage;

using simulation::AttributeBuilder;
using testing::HasSubstr;

class Reply : public GenericMessage {
 public:
  explicit Reply(const AttributeBuilder& attributes)
      : GenericMessage(NL80211_CMD_NEW_MPATH, attributes) {}
};

AttributeBuilder Information(const AttributeBuilder& information) {
  return AttributeBuilder().Nest(NL80211_ATTR_MPATH_INFO, information);
}

TEST(Nl80211MeshPathTest, ReadsEachValueFromItsAttribute) {
  const Reply reply(Information(AttributeBuilder()
                                    .U32(NL80211_MPATH_INFO_FRAME_QLEN, 3)
                                    .U32(NL80211_MPATH_INFO_METRIC, 0xfffffffe))
                        .U32(NL80211_ATTR_IFINDEX, 12)
                        .Raw(NL80211_ATTR_MAC, {1, 2, 3, 4, 5, 6})
                        .Raw(NL80211_ATTR_MPATH_NEXT_HOP, {7, 8, 9, 10, 11, 12}));
  const Nl80211MeshPath path(reply.message());
  EXPECT_EQ(path.GetInterfaceIndex(), 12U);
  EXPECT_EQ(path.GetDestination().ToString(), "01:02:03:04:05:06");
  EXPECT_EQ(path.GetNextHop().ToString(), "07:08:09:0a:0b:0c");
  EXPECT_EQ(path.GetFrameQueueLength(), 3U);
  EXPECT_EQ(path.GetMetric(), 0xfffffffeU);
}

TEST(Nl80211MeshPathTest, OptionalValuesDefaultToZero) {
  const Reply reply(Information(AttributeBuilder()));
  const Nl80211MeshPath path(reply.message());
  EXPECT_EQ(path.GetFrameQueueLength(), 0U);
  EXPECT_EQ(path.GetMetric(), 0U);
  EXPECT_FALSE(path.IsActive());
  EXPECT_FALSE(path.IsResolving());
  EXPECT_FALSE(path.IsSnValid());
  EXPECT_FALSE(path.IsFixed());
  EXPECT_FALSE(path.IsResolved());
}

std::vector<bool> FlagsOf(std::uint8_t flags) {
  const Reply reply(Information(AttributeBuilder().U8(NL80211_MPATH_INFO_FLAGS, flags)));
  const Nl80211MeshPath path(reply.message());
  return {path.IsActive(), path.IsResolving(), path.IsSnValid(), path.IsFixed(), path.IsResolved()};
}

TEST(Nl80211MeshPathTest, EachFlagIsABit) {
  EXPECT_EQ(FlagsOf(1), (std::vector<bool>{true, false, false, false, false}));
  EXPECT_EQ(FlagsOf(2), (std::vector<bool>{false, true, false, false, false}));
  EXPECT_EQ(FlagsOf(4), (std::vector<bool>{false, false, true, false, false}));
  EXPECT_EQ(FlagsOf(8), (std::vector<bool>{false, false, false, true, false}));
  EXPECT_EQ(FlagsOf(16), (std::vector<bool>{false, false, false, false, true}));
  EXPECT_EQ(FlagsOf(0xe0), (std::vector<bool>{false, false, false, false, false}));
}

TEST(Nl80211MeshPathTest, MandatoryValuesAreFatal) {
  const Reply empty{AttributeBuilder()};
  EXPECT_DEATH(Nl80211MeshPath{empty.message()},
               HasSubstr("Check failed: message_->const_attributes()->ConstGetNestedAttributeList( "
                         "NL80211_ATTR_MPATH_INFO, &mesh_path_information_)"));
  const Reply reply(Information(AttributeBuilder()));
  const Nl80211MeshPath path(reply.message());
  EXPECT_DEATH(path.GetInterfaceIndex(),
               HasSubstr("Check failed: message_->const_attributes()->GetU32AttributeValue( "
                         "NL80211_ATTR_IFINDEX, &interface_index)"));
  EXPECT_DEATH(path.GetDestination(),
               HasSubstr("Check failed: message_->const_attributes()->GetRawAttributeValue( "
                         "NL80211_ATTR_MAC, &address)"));
  EXPECT_DEATH(path.GetNextHop(),
               HasSubstr("Check failed: message_->const_attributes()->GetRawAttributeValue( "
                         "NL80211_ATTR_MPATH_NEXT_HOP, &address)"));
}

}  // namespace
}  // namespace orvane::ap
