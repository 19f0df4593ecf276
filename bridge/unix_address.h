#ifndef BRIDGE_UNIX_ADDRESS_H_
#define BRIDGE_UNIX_ADDRESS_H_

#include <sys/socket.h>
#include <sys/un.h>

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

namespace orvane::bridge {

// The address of a local socket with its exact length: for an abstract one every byte counts, the
// zeros at the end too. Ordered and compared by all of it.
class UnixAddress {
 public:
  // The address of a socket without a name. Nothing can be sent to it.
  UnixAddress() = default;

  // As recvfrom gave it.
  UnixAddress(const sockaddr_un& address, socklen_t length);

  bool IsUnnamed() const { return bytes_.empty(); }

  // For people, and for comparing the ends of names: without the zero in front of an abstract name
  // and those behind any name.
  std::string_view Name() const;

  // For sendto; returns the length.
  socklen_t Write(sockaddr_un* address) const;

  friend auto operator<=>(const UnixAddress&, const UnixAddress&) = default;

 private:
  std::string bytes_;  // behind the family
};

// Reads into `buffer` one datagram that waits, and where it came from. Its length, which is more
// than the buffer's if it was cut off; -1 with errno where there is none.
ssize_t ReceiveFrom(int fd, char* buffer, std::size_t size, UnixAddress* sender);

}  // namespace orvane::bridge

#endif  // BRIDGE_UNIX_ADDRESS_H_
