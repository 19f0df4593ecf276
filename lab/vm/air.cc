#include "lab/vm/air.h"

#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "common/mac_address.h"

namespace orvane::lab {
namespace {

using testbed::Failure;
using testbed::SystemFailure;

// Radiotap header without fields: the driver chooses how to send.
constexpr std::array<std::uint8_t, 8> kRadiotap = {0, 0, 8, 0, 0, 0, 0, 0};

}  // namespace

Failure AddressOfInterface(const std::string& interface, Address* address) {
  const std::string text =
      platform::ReadFileToString("/sys/class/net/" + interface + "/address").value_or("");
  ap::MacAddress parsed;
  if (!ap::MacAddress::ParseFromString(text.substr(0, text.find('\n')), &parsed)) {
    return "no interface " + interface;
  }
  std::copy_n(parsed.ToByteString().GetConstData(), ETH_ALEN, address->begin());
  return std::nullopt;
}

Failure Air::Open(const std::string& monitor) {
  socket_ = platform::ScopedFd(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, /*protocol=*/0));
  sockaddr_ll address = {};
  address.sll_family = AF_PACKET;
  address.sll_ifindex = static_cast<int>(if_nametoindex(monitor.c_str()));
  if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    return SystemFailure(monitor);
  }
  return std::nullopt;
}

Failure Air::Send(const FrameHeader& header, std::span<const std::uint8_t> body) const {
  std::vector<std::uint8_t> frame(kRadiotap.begin(), kRadiotap.end());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&header);
  frame.insert(frame.end(), bytes, bytes + sizeof(header));
  frame.insert(frame.end(), body.begin(), body.end());
  if (send(socket_.get(), frame.data(), frame.size(), 0) < 0) return SystemFailure("send a frame");
  return std::nullopt;
}

}  // namespace orvane::lab
