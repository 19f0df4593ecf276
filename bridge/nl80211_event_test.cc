#include "bridge/nl80211_event.h"

#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "testbed/generic_message.h"

namespace orvane::bridge {
namespace {

using platform::ByteString;
using simulation::AttributeBuilder;
using testbed::GenericMessage;

constexpr std::string_view kDeauthentication =
    "c000000002000000030002000000000002000000000000000f00";
constexpr std::string_view kMessage1 =
    "020000000200020000000000888e0203005f02008a001000000000000000012cf172114e547c5533";
constexpr std::string_view kMessage2 =
    "020000000000020000000200888e0103007502010a00000000000000000001b890fb92df87277525";
constexpr std::string_view kMessage3 =
    "020000000200020000000000888e020300970213ca001000000000000000022cf172114e547c5533";
constexpr std::string_view kGroupMessage1 =
    "020000000200020000000000888e0203007f02138200000000000000000003000000000000000000";

AttributeBuilder WithFrame(std::string_view hex) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_ATTR_IFINDEX, 7)
      .Raw(NL80211_ATTR_FRAME, ByteString::CreateFromHexString(hex).AsSpan());
  return attributes;
}

std::optional<Nl80211Event> Parse(int command, const AttributeBuilder& attributes) {
  return ParseNl80211Event(GenericMessage(command, attributes).message());
}

std::optional<EapolMessage> MessageOf(std::string_view hex) {
  const auto event = Parse(NL80211_CMD_CONTROL_PORT_FRAME_TX_STATUS, WithFrame(hex));
  if (!event.has_value()) return std::nullopt;
  return std::get<EapolSent>(event->content).message;
}

TEST(Nl80211EventTest, ReadsASentFrame) {
  const auto event =
      Parse(NL80211_CMD_FRAME_TX_STATUS, WithFrame(kDeauthentication).Flag(NL80211_ATTR_ACK));
  ASSERT_TRUE(event.has_value());
  EXPECT_EQ(event->interface_index, 7U);
  const auto& sent = std::get<FrameSent>(event->content);
  EXPECT_EQ(sent.frame.kind, FrameKind::kDeauthentication);
  EXPECT_EQ(sent.frame.destination.ToString(), "02:00:00:00:03:00");
  EXPECT_EQ(sent.frame.code, 15);
  EXPECT_TRUE(sent.is_acknowledged);
}

TEST(Nl80211EventTest, ReadsASentFrameWithoutAcknowledgement) {
  const auto event = Parse(NL80211_CMD_FRAME_TX_STATUS, WithFrame(kDeauthentication));
  ASSERT_TRUE(event.has_value());
  EXPECT_FALSE(std::get<FrameSent>(event->content).is_acknowledged);
}

TEST(Nl80211EventTest, DistinguishesHandshakeMessages) {
  EXPECT_EQ(MessageOf(kMessage1), EapolMessage::kPairwise1);
  EXPECT_EQ(MessageOf(kMessage2), EapolMessage::kOther);
  EXPECT_EQ(MessageOf(kMessage3), EapolMessage::kPairwise3);
  EXPECT_EQ(MessageOf(kGroupMessage1), EapolMessage::kOther);
  // Not a key frame; too short for a key frame.
  EXPECT_EQ(MessageOf("020000000200020000000000888e020000050102000501"), EapolMessage::kOther);
  EXPECT_EQ(MessageOf(kMessage1.substr(0, 40)), EapolMessage::kOther);
  EXPECT_EQ(MessageOf(kMessage1.substr(0, 42)), EapolMessage::kPairwise1);
}

TEST(Nl80211EventTest, ReadsTheStationOfAnEapolFrame) {
  const auto event = Parse(NL80211_CMD_CONTROL_PORT_FRAME_TX_STATUS, WithFrame(kMessage1));
  ASSERT_TRUE(event.has_value());
  EXPECT_EQ(std::get<EapolSent>(event->content).station.ToString(), "02:00:00:00:02:00");
}

TEST(Nl80211EventTest, IgnoresOtherFramesOfTheControlPort) {
  EXPECT_FALSE(MessageOf("02000000020002000000000088c7").has_value());
  EXPECT_FALSE(MessageOf(kMessage1.substr(0, 26)).has_value());
  EXPECT_TRUE(MessageOf(kMessage1.substr(0, 28)).has_value());
}

TEST(Nl80211EventTest, ReadsARemovedStation) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_ATTR_IFINDEX, 3)
      .Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 2, 0})
      .Nest(NL80211_ATTR_STA_INFO, AttributeBuilder().U8(NL80211_STA_INFO_SIGNAL, 0xce));
  const auto event = Parse(NL80211_CMD_DEL_STATION, attributes);
  ASSERT_TRUE(event.has_value());
  const auto& removed = std::get<StationRemoved>(event->content);
  EXPECT_EQ(removed.station.ToString(), "02:00:00:00:02:00");
  EXPECT_EQ(removed.info.signal, -50);
}

TEST(Nl80211EventTest, ReadsARemovedStationWithoutInformation) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_ATTR_IFINDEX, 3).Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 2, 0});
  const auto event = Parse(NL80211_CMD_DEL_STATION, attributes);
  ASSERT_TRUE(event.has_value());
  EXPECT_EQ(std::get<StationRemoved>(event->content).info, StationInfo());
}

TEST(Nl80211EventTest, RequiresInterfaceAndStation) {
  AttributeBuilder no_interface;
  no_interface.Raw(NL80211_ATTR_FRAME, ByteString::CreateFromHexString(kDeauthentication).AsSpan())
      .Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 2, 0});
  AttributeBuilder no_subject;
  no_subject.U32(NL80211_ATTR_IFINDEX, 3);
  AttributeBuilder short_address;
  short_address.U32(NL80211_ATTR_IFINDEX, 3).Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 2});
  for (const int command : {NL80211_CMD_FRAME_TX_STATUS, NL80211_CMD_CONTROL_PORT_FRAME_TX_STATUS,
                            NL80211_CMD_DEL_STATION}) {
    EXPECT_FALSE(Parse(command, no_interface).has_value()) << command;
    EXPECT_FALSE(Parse(command, no_subject).has_value()) << command;
    EXPECT_FALSE(Parse(command, short_address).has_value()) << command;
  }
}

TEST(Nl80211EventTest, IgnoresOtherCommands) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_ATTR_IFINDEX, 3).Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 2, 0});
  EXPECT_FALSE(Parse(NL80211_CMD_NEW_STATION, attributes).has_value());
  EXPECT_FALSE(Parse(NL80211_CMD_CONNECT, attributes).has_value());
}

}  // namespace
}  // namespace orvane::bridge
