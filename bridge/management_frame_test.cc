#include "bridge/management_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/byte_string.h"

namespace orvane::bridge {
namespace {

using platform::ByteString;

// Frames of a client (02:00:00:00:02:00) and an access point (02:00:00:00:00:00), as transmitted.
constexpr std::string_view kAuthenticationRequest =
    "b0003a010200000000000200000002000200000000001000000001000000";
constexpr std::string_view kAuthenticationResponse =
    "b00000000200000002000200000000000200000000000000000002000000";
constexpr std::string_view kAssociationRequest =
    "00003a0102000000000002000000020002000000000020003104050000036c6162";
constexpr std::string_view kAssociationResponse =
    "1000000002000000020002000000000002000000000000001104000001c0010882848b960c121824";
constexpr std::string_view kDeauthentication =
    "c0003a0102000000000002000000020002000000000040000300";
constexpr std::string_view kDisassociation = "a000000002000000020002000000000002000000000000000500";

std::optional<ManagementFrame> Parse(std::string_view hex) {
  return ParseManagementFrame(ByteString::CreateFromHexString(hex).AsSpan());
}

// Replaces the byte at an offset.
std::string WithByte(std::string_view hex, std::size_t offset, std::string_view byte) {
  return std::string(hex).replace(2 * offset, 2, byte);
}

TEST(ManagementFrameTest, ReadsAnAuthenticationRequest) {
  const auto frame = Parse(kAuthenticationRequest);
  ASSERT_TRUE(frame.has_value());
  EXPECT_EQ(frame->kind, FrameKind::kAuthentication);
  EXPECT_EQ(frame->destination.ToString(), "02:00:00:00:00:00");
  EXPECT_EQ(frame->source.ToString(), "02:00:00:00:02:00");
  EXPECT_EQ(frame->algorithm, 0);
  EXPECT_EQ(frame->transaction, 1);
  EXPECT_EQ(frame->code, 0);
  EXPECT_EQ(frame->sequence_control, 0x10);
  EXPECT_FALSE(frame->is_retransmission);
}

TEST(ManagementFrameTest, ReadsARetransmission) {
  const auto frame = Parse(WithByte(WithByte(kAuthenticationRequest, 1, "08"), 23, "a1"));
  ASSERT_TRUE(frame.has_value());
  EXPECT_EQ(frame->sequence_control, 0xa110);
  EXPECT_TRUE(frame->is_retransmission);
}

TEST(ManagementFrameTest, ReadsAnAuthenticationResponse) {
  // An SAE confirm, rejected with status 15.
  std::string hex = WithByte(kAuthenticationResponse, 24, "03");
  hex = WithByte(hex, 28, "0f");
  const auto frame = Parse(hex);
  ASSERT_TRUE(frame.has_value());
  EXPECT_EQ(frame->destination.ToString(), "02:00:00:00:02:00");
  EXPECT_EQ(frame->algorithm, kSaeAuthentication);
  EXPECT_EQ(frame->transaction, 2);
  EXPECT_EQ(frame->code, 15);
}

TEST(ManagementFrameTest, ReadsAssociations) {
  const auto request = Parse(kAssociationRequest);
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->kind, FrameKind::kAssociationRequest);
  EXPECT_EQ(request->code, 0);  // its capabilities, 0x0431, are not a status

  const auto response = Parse(WithByte(kAssociationResponse, 27, "01"));
  ASSERT_TRUE(response.has_value());
  EXPECT_EQ(response->kind, FrameKind::kAssociationResponse);
  EXPECT_EQ(response->code, 0x100);
}

TEST(ManagementFrameTest, TreatsReassociationsAsAssociations) {
  // A reassociation request has the address of the current access point before its elements.
  const std::string request = WithByte(kAssociationRequest, 0, "20") + "00";
  ASSERT_TRUE(Parse(request).has_value());
  EXPECT_EQ(Parse(request)->kind, FrameKind::kAssociationRequest);
  const auto response = Parse(WithByte(kAssociationResponse, 0, "30"));
  ASSERT_TRUE(response.has_value());
  EXPECT_EQ(response->kind, FrameKind::kAssociationResponse);
}

TEST(ManagementFrameTest, ReadsReasonCodes) {
  const auto deauthentication = Parse(kDeauthentication);
  ASSERT_TRUE(deauthentication.has_value());
  EXPECT_EQ(deauthentication->kind, FrameKind::kDeauthentication);
  EXPECT_EQ(deauthentication->code, 3);
  const auto disassociation = Parse(kDisassociation);
  ASSERT_TRUE(disassociation.has_value());
  EXPECT_EQ(disassociation->kind, FrameKind::kDisassociation);
  EXPECT_EQ(disassociation->code, 5);
}

TEST(ManagementFrameTest, AcceptsADecryptedFrameWithItsProtectedFlag) {
  const auto frame = Parse(WithByte(kDeauthentication, 1, "40"));
  ASSERT_TRUE(frame.has_value());
  EXPECT_EQ(frame->code, 3);
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 1, "40")).has_value());
}

TEST(ManagementFrameTest, IgnoresOtherFrames) {
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 0, "40")).has_value());  // probe request
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 0, "d0")).has_value());  // action
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 0, "b8")).has_value());  // data
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 0, "b4")).has_value());  // control
  EXPECT_FALSE(Parse(WithByte(kAuthenticationRequest, 0, "b1")).has_value());  // version
}

// Tests each kind with exactly its fixed fields, and with one byte less.
TEST(ManagementFrameTest, RequiresAllFixedFields) {
  struct Case {
    std::string_view subtype;
    std::size_t body_length;
  };
  for (const auto& [subtype, body_length] :
       {Case{"00", 4}, Case{"10", 6}, Case{"20", 10}, Case{"30", 6}, Case{"a0", 2}, Case{"b0", 6},
        Case{"c0", 2}}) {
    SCOPED_TRACE(subtype);
    const std::string whole = std::string(subtype) + std::string(2 * (23 + body_length), '0');
    EXPECT_TRUE(Parse(whole).has_value());
    for (std::size_t length = 0; length < whole.size(); length += 2) {
      EXPECT_FALSE(Parse(whole.substr(0, length)).has_value()) << length / 2;
    }
  }
}

}  // namespace
}  // namespace orvane::bridge
