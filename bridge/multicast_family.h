#ifndef BRIDGE_MULTICAST_FAMILY_H_
#define BRIDGE_MULTICAST_FAMILY_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/netlink/netlink_message.h"

namespace orvane::bridge {

// The numbers that the kernel gave a family of generic netlink.
struct MulticastFamily {
  std::uint16_t id = 0;
  std::map<std::string, std::uint32_t, std::less<>> groups;  // by name
};

// Reads the kernel's reply to CTRL_CMD_GETFAMILY. Nothing if it has no id; groups without a name
// or a number are left out.
std::optional<MulticastFamily> ParseMulticastFamily(const platform::GenericNetlinkMessage& message);

}  // namespace orvane::bridge

#endif  // BRIDGE_MULTICAST_FAMILY_H_
