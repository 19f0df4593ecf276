#ifndef BRIDGE_MANAGEMENT_FRAME_H_
#define BRIDGE_MANAGEMENT_FRAME_H_

#include <cstdint>
#include <optional>
#include <span>

#include "common/mac_address.h"

namespace orvane::bridge {

// The IEEE 802.11 management frames that begin and end a connection.
enum class FrameKind : std::uint8_t {
  kAuthentication,
  kAssociationRequest,   // reassociation requests too
  kAssociationResponse,  // reassociation responses too
  kDeauthentication,
  kDisassociation,
};

// The algorithm numbers of authentication frames that the bridge checks. Other values occur.
inline constexpr std::uint16_t kSharedKeyAuthentication = 1;
inline constexpr std::uint16_t kSaeAuthentication = 3;

// The fields of a management frame that the bridge uses. All addresses have six bytes.
struct ManagementFrame {
  FrameKind kind = FrameKind::kAuthentication;
  ap::MacAddress destination;
  ap::MacAddress source;
  // The status code of an authentication or an association response, the reason code of a
  // deauthentication or a disassociation, 0 for a request.
  std::uint16_t code = 0;
  // Algorithm and transaction number of an authentication.
  std::uint16_t algorithm = 0;
  std::uint16_t transaction = 0;
  // A retransmission has the sequence control of the frame that it repeats.
  std::uint16_t sequence_control = 0;
  bool is_retransmission = false;
};

// Returns the kind of a frame, or nothing for other kinds and for empty input.
std::optional<FrameKind> FrameKindOf(std::span<const std::uint8_t> bytes);

// Parses a plaintext frame, from its frame control field, without its check sequence. Returns
// nothing for other kinds, for encrypted authentications, and for frames that are too short for
// their fixed fields. Elements after the fixed fields are ignored.
std::optional<ManagementFrame> ParseManagementFrame(std::span<const std::uint8_t> bytes);

// Returns whether the access point's answer to a request is the last one. An authentication may
// take several frames.
bool IsLastAnswer(const ManagementFrame& answer);

}  // namespace orvane::bridge

#endif  // BRIDGE_MANAGEMENT_FRAME_H_
