#include "bridge/management_frame.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/byte_string.h"

namespace orvane::bridge {
namespace {

constexpr std::size_t kDestinationOffset = 4;
constexpr std::size_t kSourceOffset = 10;
constexpr std::size_t kSequenceControlOffset = 22;
constexpr std::size_t kBodyOffset = 24;
constexpr std::size_t kAddressLength = 6;

constexpr unsigned kVersionAndTypeMask = 0x0f;
constexpr unsigned kManagementType = 0x00;
// Flags in the second byte.
constexpr unsigned kRetryFlag = 0x08;
constexpr unsigned kProtectedFlag = 0x40;

// Offsets of the fixed fields, in bytes from the start of the frame body.
struct BodyLayout {
  unsigned subtype;
  FrameKind kind;
  std::size_t length;
  std::optional<std::size_t> code_offset;
};

constexpr BodyLayout kBodyLayouts[] = {
    {0, FrameKind::kAssociationRequest, 4, std::nullopt},
    {1, FrameKind::kAssociationResponse, 6, 2},
    {2, FrameKind::kAssociationRequest, 10, std::nullopt},  // also has the current AP's address
    {3, FrameKind::kAssociationResponse, 6, 2},
    {10, FrameKind::kDisassociation, 2, 0},
    {11, FrameKind::kAuthentication, 6, 4},
    {12, FrameKind::kDeauthentication, 2, 0},
};

const BodyLayout* FindLayout(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || (bytes[0] & kVersionAndTypeMask) != kManagementType) return nullptr;
  const unsigned subtype = bytes[0] >> 4U;
  for (const BodyLayout& layout : kBodyLayouts) {
    if (layout.subtype == subtype) return &layout;
  }
  return nullptr;
}

std::uint16_t LittleEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

// IEEE 802.11 status codes of an SAE exchange that continues: 76 requests an anti-clogging token;
// 126 and 127 select hash-to-element and SAE-PK.
constexpr std::uint16_t kGoingOn[] = {76, 126, 127};

// Returns the transaction number of the access point's last authentication frame.
std::uint16_t LastTransaction(std::uint16_t algorithm) {
  return algorithm == kSharedKeyAuthentication ? 4 : 2;
}

ap::MacAddress AddressAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return ap::MacAddress(platform::ByteString(bytes.subspan(offset, kAddressLength)));
}

}  // namespace

std::optional<FrameKind> FrameKindOf(std::span<const std::uint8_t> bytes) {
  const BodyLayout* layout = FindLayout(bytes);
  return layout != nullptr ? std::optional(layout->kind) : std::nullopt;
}

std::optional<ManagementFrame> ParseManagementFrame(std::span<const std::uint8_t> bytes) {
  const BodyLayout* layout = FindLayout(bytes);
  if (layout == nullptr || bytes.size() < kBodyOffset + layout->length) return std::nullopt;
  // The third frame of a shared-key authentication is encrypted. The kernel has decrypted protected
  // deauthentications and disassociations, but may leave the flag set.
  const bool is_protected = (bytes[1] & kProtectedFlag) != 0;
  if (is_protected && layout->kind == FrameKind::kAuthentication) return std::nullopt;

  const std::span<const std::uint8_t> body = bytes.subspan(kBodyOffset);
  ManagementFrame frame;
  frame.kind = layout->kind;
  frame.destination = AddressAt(bytes, kDestinationOffset);
  frame.source = AddressAt(bytes, kSourceOffset);
  frame.sequence_control = LittleEndian16(bytes, kSequenceControlOffset);
  frame.is_retransmission = (bytes[1] & kRetryFlag) != 0;
  if (layout->code_offset.has_value()) frame.code = LittleEndian16(body, *layout->code_offset);
  if (frame.kind == FrameKind::kAuthentication) {
    frame.algorithm = LittleEndian16(body, 0);
    frame.transaction = LittleEndian16(body, 2);
  }
  return frame;
}

bool IsLastAnswer(const ManagementFrame& answer) {
  if (answer.kind != FrameKind::kAuthentication) return true;
  if (answer.code != 0) return std::ranges::find(kGoingOn, answer.code) == std::end(kGoingOn);
  return answer.transaction >= LastTransaction(answer.algorithm);
}

}  // namespace orvane::bridge
