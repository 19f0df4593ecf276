#ifndef PLATFORM_NETLINK_NETLINK_FAMILY_H_
#define PLATFORM_NETLINK_NETLINK_FAMILY_H_

#include <cstdint>
#include <string>

#include "platform/netlink/netlink_socket.h"
#include "platform/time.h"

namespace orvane::platform {

inline constexpr TimeSpan kFamilyDeadline{1'000'000};

// Requests the id of a generic netlink family from the kernel, over a socket of its own. Blocks
// until the answer arrives, at most kFamilyDeadline. Returns 0 if the kernel has no such family or
// does not answer.
std::uint16_t ResolveFamily(NetlinkSocket& socket, const std::string& name);

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_FAMILY_H_
