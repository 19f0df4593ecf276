#ifndef TESTBED_NL80211_SOCKET_H_
#define TESTBED_NL80211_SOCKET_H_

#include <libmnl/libmnl.h>

#include <array>
#include <cstdint>
#include <memory>

#include "testbed/failure.h"

namespace orvane::testbed {

// A socket to the kernel's nl80211 that asks and waits for the answer, and does no more than that.
class Nl80211Socket {
 public:
  [[nodiscard]] Failure Open();

  // An empty request, for the mnl_attr_put family to add to. It lies in this object and is gone
  // with the next. NLM_F_ACK or NLM_F_DUMP among `flags` makes the kernel say when it is done.
  nlmsghdr* NewRequest(std::uint8_t command, std::uint16_t flags);

  // Sends a request and reads until the kernel has said that this was all. `take` may be null.
  [[nodiscard]] Failure Ask(const nlmsghdr* request, mnl_cb_t take, void* data);

 private:
  struct Closer {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };

  nlmsghdr* NewRequestOf(std::uint16_t family, std::uint8_t command, std::uint16_t flags);

  std::unique_ptr<mnl_socket, Closer> socket_;
  // A dump is told in as large pieces as there is room for, up to this many bytes.
  std::array<char, 32 * 1024> buffer_ = {};
  unsigned sequence_ = 0;
  std::uint16_t family_ = 0;
};

}  // namespace orvane::testbed

#endif  // TESTBED_NL80211_SOCKET_H_
