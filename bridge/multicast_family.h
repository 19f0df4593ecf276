#ifndef BRIDGE_MULTICAST_FAMILY_H_
#define BRIDGE_MULTICAST_FAMILY_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/netlink/netlink_message.h"

namespace orvane::bridge {

// The numbers of a generic netlink family.
struct MulticastFamily {
  std::uint16_t id = 0;
  std::map<std::string, std::uint32_t, std::less<>> groups;  // by name
};

// Parses the kernel's reply to CTRL_CMD_GETFAMILY. Returns nothing if it has no id. Skips groups
// without a name or a number.
std::optional<MulticastFamily> ParseMulticastFamily(const platform::GenericNetlinkMessage& message);

}  // namespace orvane::bridge

#endif  // BRIDGE_MULTICAST_FAMILY_H_
