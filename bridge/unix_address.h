#ifndef BRIDGE_UNIX_ADDRESS_H_
#define BRIDGE_UNIX_ADDRESS_H_

#include <sys/socket.h>
#include <sys/un.h>

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace orvane::bridge {

// The address of a local socket with its exact length: every byte of an abstract name counts,
// including trailing zeros. All bytes are compared.
class UnixAddress {
 public:
  // The address of an unnamed socket. Nothing can be sent to it.
  UnixAddress() = default;

  // Takes the result of recvfrom.
  UnixAddress(const sockaddr_un& address, socklen_t length);

  // The address of a socket file. Returns nothing, with errno set, if the path is too long.
  static std::optional<UnixAddress> OfFile(const platform::FilePath& path);

  bool IsUnnamed() const { return bytes_.empty(); }

  // The name for people and for comparing suffixes: without the leading zero of an abstract name
  // and without trailing zeros.
  std::string_view Name() const;

  // Fills `*address` for bind, connect or sendto. Returns its length.
  socklen_t Write(sockaddr_un* address) const;

  friend auto operator<=>(const UnixAddress&, const UnixAddress&) = default;

 private:
  std::string bytes_;  // without the family
};

// Binds a socket to the address. An unnamed address makes the kernel choose an abstract name.
// Returns false, with errno set, on failure.
bool Bind(int fd, const UnixAddress& address);

// Connects a socket to the address. Returns false, with errno set, on failure.
bool Connect(int fd, const UnixAddress& address);

// Receives one pending datagram and its sender. Returns its full length, which exceeds `size` if it
// was truncated; -1, with errno set, if there is none.
ssize_t ReceiveFrom(int fd, char* buffer, std::size_t size, UnixAddress* sender);

}  // namespace orvane::bridge

#endif  // BRIDGE_UNIX_ADDRESS_H_
