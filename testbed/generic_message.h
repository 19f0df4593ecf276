#ifndef TESTBED_GENERIC_MESSAGE_H_
#define TESTBED_GENERIC_MESSAGE_H_

#include <cstdint>
#include <span>
#include <vector>

#include "platform/netlink/netlink_message.h"
#include "simulation/message_builder.h"

namespace orvane::bridge {

// Returns the bytes of a generic netlink message.
inline std::vector<std::uint8_t> MakeMessage(int command,
                                             const simulation::AttributeBuilder& attributes) {
  constexpr std::uint16_t kFamily = 0x20;
  return simulation::MakeGenericMessage({.type = kFamily}, static_cast<std::uint8_t>(command),
                                        attributes);
}

// Applies a parser to the first message in `bytes`.
template <typename Result>
Result ParseMessage(std::span<const std::uint8_t> bytes,
                    Result (*parse)(const platform::GenericNetlinkMessage&)) {
  const auto message = platform::NetlinkMessage::TakeFrom(&bytes);
  return parse(platform::GenericNetlinkMessage::From(*message).value());
}

}  // namespace orvane::bridge

#endif  // TESTBED_GENERIC_MESSAGE_H_
