#ifndef BRIDGE_MANAGEMENT_FRAME_H_
#define BRIDGE_MANAGEMENT_FRAME_H_

#include <cstdint>
#include <optional>
#include <span>

#include "common/mac_address.h"

namespace orvane::bridge {

// The IEEE 802.11 management frames that make up a visit of a station.
enum class FrameKind : std::uint8_t {
  kAuthentication,
  kAssociationRequest,   // reassociation requests too
  kAssociationResponse,  // reassociation responses too
  kDeauthentication,
  kDisassociation,
};

// Algorithm numbers of authentication frames that matter here; every other number is possible.
inline constexpr std::uint16_t kSharedKeyAuthentication = 1;
inline constexpr std::uint16_t kSaeAuthentication = 3;

// The fields of a management frame that the bridge uses. All addresses have six bytes.
struct ManagementFrame {
  FrameKind kind = FrameKind::kAuthentication;
  ap::MacAddress destination;
  ap::MacAddress source;
  // The status of an authentication or an association response, the reason of a deauthentication
  // or a disassociation; 0 for a request.
  std::uint16_t code = 0;
  // Of an authentication: its algorithm and transaction number.
  std::uint16_t algorithm = 0;
  std::uint16_t transaction = 0;
};

// The kind of a frame; nothing for frames of other kinds and for no bytes.
std::optional<FrameKind> FrameKindOf(std::span<const std::uint8_t> bytes);

// Reads a frame from its frame-control field on, in plaintext, without its check sequence. Nothing
// for frames of other kinds, for encrypted authentications and for frames that are too short for
// their fields. Elements behind the fixed fields are not read.
std::optional<ManagementFrame> ParseManagementFrame(std::span<const std::uint8_t> bytes);

}  // namespace orvane::bridge

#endif  // BRIDGE_MANAGEMENT_FRAME_H_
