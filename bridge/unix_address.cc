#include "bridge/unix_address.h"

#include <cerrno>
#include <cstring>

namespace orvane::bridge {
namespace {

constexpr std::size_t kFamilyLength = offsetof(sockaddr_un, sun_path);

}  // namespace

UnixAddress::UnixAddress(const sockaddr_un& address, socklen_t length) {
  if (length > kFamilyLength && length <= sizeof(address)) {
    bytes_.assign(address.sun_path, length - kFamilyLength);
  }
}

std::optional<UnixAddress> UnixAddress::OfFile(const platform::FilePath& path) {
  if (path.native().size() >= sizeof(sockaddr_un::sun_path)) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  UnixAddress address;
  address.bytes_ = path.native();
  return address;
}

std::string_view UnixAddress::Name() const {
  std::string_view name = bytes_;
  if (name.starts_with('\0')) name.remove_prefix(1);
  return name.substr(0, name.find_last_not_of('\0') + 1);
}

socklen_t UnixAddress::Write(sockaddr_un* address) const {
  *address = {};
  address->sun_family = AF_UNIX;
  std::memcpy(address->sun_path, bytes_.data(), bytes_.size());
  return static_cast<socklen_t>(kFamilyLength + bytes_.size());
}

bool Bind(int fd, const UnixAddress& address) {
  sockaddr_un raw;
  const socklen_t length = address.Write(&raw);
  return bind(fd, reinterpret_cast<const sockaddr*>(&raw), length) == 0;
}

bool Connect(int fd, const UnixAddress& address) {
  sockaddr_un raw;
  const socklen_t length = address.Write(&raw);
  return platform::RetryOnEintr(
             [&] { return connect(fd, reinterpret_cast<const sockaddr*>(&raw), length); }) == 0;
}

ssize_t ReceiveFrom(int fd, char* buffer, std::size_t size, UnixAddress* sender) {
  sockaddr_un address = {};
  socklen_t length = sizeof(address);
  const ssize_t received = platform::RetryOnEintr([&] {
    length = sizeof(address);
    return recvfrom(fd, buffer, size, MSG_DONTWAIT | MSG_TRUNC,
                    reinterpret_cast<sockaddr*>(&address), &length);
  });
  if (received >= 0) *sender = UnixAddress(address, length);
  return received;
}

}  // namespace orvane::bridge
