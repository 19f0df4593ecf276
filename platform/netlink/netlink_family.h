#ifndef PLATFORM_NETLINK_NETLINK_FAMILY_H_
#define PLATFORM_NETLINK_NETLINK_FAMILY_H_

#include <cstdint>
#include <string>

#include "platform/netlink/netlink_socket.h"
#include "platform/time.h"

namespace orvane::platform {

inline constexpr TimeSpan kFamilyDeadline{1'000'000};

// Asks the kernel for the id of a generic netlink family, over a socket that is used for nothing
// else. Blocks until the answer is there, for kFamilyDeadline at most. 0 if the kernel has no such
// family or does not answer.
std::uint16_t ResolveFamily(NetlinkSocket& socket, const std::string& name);

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_FAMILY_H_
