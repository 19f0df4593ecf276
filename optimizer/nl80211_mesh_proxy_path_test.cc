#include "optimizer/nl80211_mesh_proxy_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

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

TEST(Nl80211MeshProxyPathTest, ReadsBothAddresses) {
  const Reply reply(AttributeBuilder()
                        .Raw(NL80211_ATTR_MAC, {1, 2, 3, 4, 5, 6})
                        .Raw(NL80211_ATTR_MPATH_NEXT_HOP, {7, 8, 9, 10, 11, 12})
                        .Nest(NL80211_ATTR_MPATH_INFO, AttributeBuilder()));
  const Nl80211MeshProxyPath path(reply.message());
  EXPECT_EQ(path.GetDestination().ToString(), "01:02:03:04:05:06");
  EXPECT_EQ(path.GetMeshProxy().ToString(), "07:08:09:0a:0b:0c");
}

TEST(Nl80211MeshProxyPathTest, MandatoryValuesAreFatal) {
  const Reply empty{AttributeBuilder()};
  EXPECT_DEATH(Nl80211MeshProxyPath{empty.message()},
               HasSubstr("Check failed: message_->const_attributes()->ConstGetNestedAttributeList( "
                         "NL80211_ATTR_MPATH_INFO, &mesh_proxy_path_information_)"));
  const Reply reply(AttributeBuilder().Nest(NL80211_ATTR_MPATH_INFO, AttributeBuilder()));
  const Nl80211MeshProxyPath path(reply.message());
  EXPECT_DEATH(path.GetDestination(),
               HasSubstr("Check failed: message_->const_attributes()->GetRawAttributeValue( "
                         "NL80211_ATTR_MAC, &address)"));
  EXPECT_DEATH(path.GetMeshProxy(),
               HasSubstr("Check failed: message_->const_attributes()->GetRawAttributeValue( "
                         "NL80211_ATTR_MPATH_NEXT_HOP, &address)"));
}

}  // namespace
}  // namespace orvane::ap
