#ifndef TESTBED_NL80211_SOCKET_H_
#define TESTBED_NL80211_SOCKET_H_

#include <libmnl/libmnl.h>

#include <array>
#include <cstdint>
#include <memory>

#include "testbed/failure.h"

namespace orvane::testbed {

// A blocking nl80211 socket: it sends a request and waits for the answer.
class Nl80211Socket {
 public:
  [[nodiscard]] Failure Open();

  // Returns an empty request, to which the mnl_attr_put functions add attributes. It is part of
  // this object and valid until the next call. `flags` should contain NLM_F_ACK or NLM_F_DUMP, so
  // that the kernel reports the end.
  nlmsghdr* NewRequest(std::uint8_t command, std::uint16_t flags);

  // Sends a request and reads until the kernel reports the end. `take` may be null.
  [[nodiscard]] Failure Ask(const nlmsghdr* request, mnl_cb_t take, void* data);

 private:
  struct Closer {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };

  nlmsghdr* NewRequestOf(std::uint16_t family, std::uint8_t command, std::uint16_t flags);

  std::unique_ptr<mnl_socket, Closer> socket_;
  // The kernel fills the buffer with the parts of a dump, up to this size.
  std::array<char, 32 * 1024> buffer_ = {};
  unsigned sequence_ = 0;
  std::uint16_t family_ = 0;
};

}  // namespace orvane::testbed

#endif  // TESTBED_NL80211_SOCKET_H_
