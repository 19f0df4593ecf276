#ifndef BRIDGE_UNIX_ADDRESS_H_
#define BRIDGE_UNIX_ADDRESS_H_

#include <sys/socket.h>
#include <sys/un.h>

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

namespace orvane::bridge {

// The address of a local socket with its exact length: every byte of an abstract name counts,
// including trailing zeros. All bytes are compared.
class UnixAddress {
 public:
  // The address of an unnamed socket. Nothing can be sent to it.
  UnixAddress() = default;

  // Takes the result of recvfrom.
  UnixAddress(const sockaddr_un& address, socklen_t length);

  bool IsUnnamed() const { return bytes_.empty(); }

  // The name for people and for comparing suffixes: without the leading zero of an abstract name
  // and without trailing zeros.
  std::string_view Name() const;

  // Fills `*address` for sendto. Returns its length.
  socklen_t Write(sockaddr_un* address) const;

  friend auto operator<=>(const UnixAddress&, const UnixAddress&) = default;

 private:
  std::string bytes_;  // without the family
};

// Receives one pending datagram and its sender. Returns its full length, which exceeds `size` if it
// was truncated; -1, with errno set, if there is none.
ssize_t ReceiveFrom(int fd, char* buffer, std::size_t size, UnixAddress* sender);

}  // namespace orvane::bridge

#endif  // BRIDGE_UNIX_ADDRESS_H_
