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

// The address of a network interface.
[[nodiscard]] testbed::Failure AddressOfInterface(const std::string& interface, Address* address);

// The header of an 802.11 frame without a quality of service.
struct FrameHeader {
  std::array<std::uint8_t, 2> control = {};
  std::array<std::uint8_t, 2> duration = {};
  Address receiver = {};
  Address sender = {};
  Address network = {};
  std::array<std::uint8_t, 2> sequence = {};
};
static_assert(sizeof(FrameHeader) == 24);

// Sends whole frames through an interface that is a monitor, as from any station.
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
