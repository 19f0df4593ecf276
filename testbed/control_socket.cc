#include "testbed/control_socket.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

using platform::RetryOnEintr;
using platform::ScopedFd;

ScopedFd NewSocket() { return ScopedFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)); }

const sockaddr* Generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

ino_t InodeOf(const platform::FilePath& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

sockaddr_un UnixAddress(std::string_view name) {
  sockaddr_un address = {};
  CHECK(name.size() < sizeof(address.sun_path)) << "Too long for a socket: " << name;
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, name.size());
  return address;
}

std::string PeerAddress::Bytes() const {
  return {address.sun_path, length - offsetof(sockaddr_un, sun_path)};
}

std::string PeerAddress::Text() const {
  if (!has_name()) return "nobody";
  std::string name = Bytes();
  if (name.front() != '\0') return name.c_str();  // a path ends at its null byte
  name.front() = '@';
  return name.substr(0, name.find_last_not_of('\0') + 1);
}

bool operator==(const PeerAddress& a, const PeerAddress& b) {
  return a.length == b.length && std::memcmp(&a.address, &b.address, a.length) == 0;
}

ControlSocket::~ControlSocket() {
  if (inode_ != 0 && InodeOf(path_) == inode_) unlink(path_.c_str());
}

Failure ControlSocket::Open() {
  if (path_.native().size() >= sizeof(sockaddr_un::sun_path)) {
    return "Too long for a socket: " + path_.native();
  }
  socket_ = NewSocket();
  bool bound = Bind();
  if (!bound && errno == EADDRINUSE) {
    if (!IsAbandoned()) return "Somebody serves " + path_.native() + " already";
    unlink(path_.c_str());
    bound = Bind();
  }
  if (!bound) return "Can't serve " + path_.native() + ": " + platform::SystemErrorText(errno);
  inode_ = InodeOf(path_);
  const timeval longest_wait = {.tv_sec = 0, .tv_usec = kLongestWaitUsec};
  setsockopt(fd(), SOL_SOCKET, SO_SNDTIMEO, &longest_wait, sizeof(longest_wait));
  return std::nullopt;
}

// For owner and group, whatever the umask, like hostapd.
bool ControlSocket::Bind() {
  const sockaddr_un address = UnixAddress(path_.native());
  return bind(fd(), Generic(address), sizeof(address)) == 0 &&
         chmod(path_.c_str(), S_IRWXU | S_IRWXG) == 0;
}

bool ControlSocket::IsAbandoned() const {
  const ScopedFd probe = NewSocket();
  const sockaddr_un address = UnixAddress(path_.native());
  return connect(probe.get(), Generic(address), sizeof(address)) < 0 && errno == ECONNREFUSED;
}

std::optional<Command> ControlSocket::Receive() {
  std::array<char, 65536> buffer;
  Command command;
  command.sender.length = sizeof(command.sender.address);
  const ssize_t length = RetryOnEintr([&] {
    return recvfrom(fd(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                    reinterpret_cast<sockaddr*>(&command.sender.address), &command.sender.length);
  });
  if (length < 0) return std::nullopt;
  command.text.assign(buffer.data(), static_cast<std::size_t>(length));
  return command;
}

ControlSocket::SendResult ControlSocket::Send(const PeerAddress& peer, std::string_view text) {
  const ssize_t length = RetryOnEintr([&] {
    return sendto(fd(), text.data(), text.size(), 0, Generic(peer.address), peer.length);
  });
  if (length >= 0) return SendResult::kSent;
  return errno == EAGAIN ? SendResult::kFull : SendResult::kGone;
}

}  // namespace orvane::testbed
