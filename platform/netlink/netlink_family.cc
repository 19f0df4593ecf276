#include "platform/netlink/netlink_family.h"

#include <linux/genetlink.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <optional>
#include <span>

#include "platform/files.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kSequence = 1;
// The kernel's answer is at most two pages long; most machines have pages of 4 KiB.
constexpr std::size_t kLongestAnswer = 16 * 1024;

bool SendQuestion(NetlinkSocket& socket, const std::string& name) {
  GenericNetlinkRequest request(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  if (!request.attributes().SetStringAttributeValue(CTRL_ATTR_FAMILY_NAME, name)) return false;
  request.SetSender(socket.port(), kSequence);
  return socket.Send(request.bytes());
}

bool WaitForDatagram(const NetlinkSocket& socket, Clock::time_point deadline) {
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (rest.count() <= 0) return false;
  pollfd descriptor = {socket.fd(), POLLIN, 0};
  return RetryOnEintr([&] { return poll(&descriptor, 1, static_cast<int>(rest.count())); }) > 0;
}

// Returns the id, or 0 if the kernel refuses. Returns nothing if these bytes do not contain the
// answer.
std::optional<std::uint16_t> FindAnswer(std::span<const std::uint8_t> datagram,
                                        std::uint32_t port) {
  while (const std::optional<NetlinkMessage> message = NetlinkMessage::TakeFrom(&datagram)) {
    if (message->sequence() != kSequence || message->port() != port) continue;
    if (message->GetError() != 0) return 0;
    if (message->type() != GENL_ID_CTRL) continue;
    const auto reply = GenericNetlinkMessage::From(*message);
    if (!reply) return 0;
    return reply->const_attributes()->Get<std::uint16_t>(CTRL_ATTR_FAMILY_ID).value_or(0);
  }
  return std::nullopt;
}

}  // namespace

std::uint16_t ResolveFamily(NetlinkSocket& socket, const std::string& name) {
  if (!SendQuestion(socket, name)) return 0;
  const Clock::time_point deadline = Clock::now() + kFamilyDeadline;
  std::array<std::uint8_t, kLongestAnswer> buffer;
  while (WaitForDatagram(socket, deadline)) {
    const ReceiveResult result = socket.Receive(buffer);
    if (result.status == ReceiveStatus::kFailed) return 0;
    if (result.status != ReceiveStatus::kDatagram) continue;
    if (const auto id = FindAnswer({buffer.data(), result.length}, socket.port())) return *id;
  }
  return 0;
}

}  // namespace orvane::platform
