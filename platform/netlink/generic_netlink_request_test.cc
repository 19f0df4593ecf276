#include "platform/netlink/generic_netlink_request.h"

#include <gtest/gtest.h>
#include <linux/genetlink.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/netlink/netlink_message.h"

namespace orvane::platform {
namespace {

NetlinkMessage Parse(const GenericNetlinkRequest& request) {
  std::span<const std::uint8_t> bytes = request.bytes();
  const auto message = NetlinkMessage::TakeFrom(&bytes);
  EXPECT_TRUE(message.has_value());
  EXPECT_TRUE(bytes.empty());
  return *message;
}

TEST(GenericNetlinkRequestTest, IsAMessageWithACommand) {
  GenericNetlinkRequest request(28, 17);
  request.SetSender(5, 6);
  const NetlinkMessage message = Parse(request);
  EXPECT_EQ(message.type(), 28);
  EXPECT_EQ(message.flags(), NLM_F_REQUEST | NLM_F_ACK);
  EXPECT_EQ(message.port(), 5U);
  EXPECT_EQ(message.sequence(), 6U);
  const auto generic = GenericNetlinkMessage::From(message);
  ASSERT_TRUE(generic.has_value());
  EXPECT_EQ(generic->command(), 17);
  EXPECT_EQ(generic->const_attributes()->begin(), generic->const_attributes()->end());
}

TEST(GenericNetlinkRequestTest, BecomesADumpByItsFlags) {
  GenericNetlinkRequest request(28, 17);
  EXPECT_FALSE(request.IsDump());
  request.AddFlags(NLM_F_ROOT);
  EXPECT_FALSE(request.IsDump());
  request.AddFlags(NLM_F_DUMP);
  EXPECT_TRUE(request.IsDump());
  EXPECT_EQ(Parse(request).flags(), NLM_F_REQUEST | NLM_F_ACK | 0x300);
}

TEST(GenericNetlinkRequestTest, TakesAttributes) {
  GenericNetlinkRequest request(28, 17);
  EXPECT_TRUE(request.attributes().SetU32AttributeValue(3, 7));
  EXPECT_TRUE(request.attributes().SetRawAttributeValue(
      6, ByteString::CreateFromHexString("0a0b0c0d0e0f")));
  EXPECT_TRUE(request.attributes().SetStringAttributeValue(2, "name"));
  const auto generic = GenericNetlinkMessage::From(Parse(request));
  ASSERT_TRUE(generic.has_value());
  const AttributeList& attributes = *generic->const_attributes();
  EXPECT_EQ(attributes.Get<std::uint32_t>(3), 7U);
  EXPECT_EQ(ByteString(attributes.Find(6).payload()).HexEncode(), "0a0b0c0d0e0f");
  EXPECT_EQ(ByteString(attributes.Find(2).payload()).HexEncode(), "6e616d6500");
}

TEST(GenericNetlinkRequestTest, IsFullWithItsLastByte) {
  const auto zeros = [](std::size_t count) {
    return ByteString::CreateFromHexString(std::string(2 * count, '0'));
  };
  constexpr std::size_t kRoom = 256 - NLMSG_HDRLEN - GENL_HDRLEN - NLA_HDRLEN;
  GenericNetlinkRequest request(28, 17);
  EXPECT_FALSE(request.attributes().SetRawAttributeValue(6, zeros(kRoom + 1)));
  EXPECT_TRUE(request.attributes().SetRawAttributeValue(6, zeros(kRoom)));
  EXPECT_EQ(request.bytes().size(), 256U);
}

TEST(GenericNetlinkRequestTest, TakesNothingMoreWhenItIsFull) {
  GenericNetlinkRequest request(28, 17);
  int count = 0;
  while (request.attributes().SetU32AttributeValue(3, 7)) ++count;
  EXPECT_EQ(count, (256 - NLMSG_HDRLEN - 4) / 8);
  const std::size_t size = request.bytes().size();
  EXPECT_LE(size, GenericNetlinkRequest::kCapacity);
  EXPECT_FALSE(request.attributes().SetRawAttributeValue(
      6, ByteString::CreateFromHexString(std::string(600, '0'))));
  EXPECT_FALSE(request.attributes().SetStringAttributeValue(2, std::string(300, 'x')));
  EXPECT_EQ(request.bytes().size(), size);
}

}  // namespace
}  // namespace orvane::platform
