#ifndef LAB_VM_AIR_H_
#define LAB_VM_AIR_H_

#include <linux/if_ether.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "platform/files.h"
#include "testbed/failure.h"

namespace orvane::lab {

using Address = std::array<std::uint8_t, ETH_ALEN>;

// Gets the hardware address of a network interface.
[[nodiscard]] testbed::Failure AddressOfInterface(const std::string& interface, Address* address);

// The header of an 802.11 frame without QoS control.
struct FrameHeader {
  std::array<std::uint8_t, 2> control = {};
  std::array<std::uint8_t, 2> duration = {};
  Address receiver = {};
  Address sender = {};
  Address network = {};
  std::array<std::uint8_t, 2> sequence = {};
};
static_assert(sizeof(FrameHeader) == 24);

// Sends whole frames through a monitor interface, in the name of any station.
class Air {
 public:
  [[nodiscard]] testbed::Failure Open(const std::string& monitor);
  // `body` follows the header.
  [[nodiscard]] testbed::Failure Send(const FrameHeader& header,
                                      std::span<const std::uint8_t> body) const;

 private:
  platform::ScopedFd socket_;
};

}  // namespace orvane::lab

#endif  // LAB_VM_AIR_H_
