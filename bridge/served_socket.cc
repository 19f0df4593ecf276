#include "bridge/served_socket.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/logging.h"

namespace orvane::bridge {
namespace {

// After this many datagrams, other descriptors are served.
constexpr int kDatagramsPerWakeUp = 64;

// Binds with a umask: a later chmod would be too late for a client that watches the directory.
bool BindForOwnerAndGroup(int fd, const UnixAddress& address) {
  constexpr mode_t kOthers = 0007;
  const mode_t mask = umask(kOthers);
  const bool is_bound = Bind(fd, address);
  const int error = errno;
  umask(mask);
  errno = error;
  return is_bound;
}

// Returns an upper limit of what the kernel charges for a datagram.
int LargestCharge(std::size_t size) {
  constexpr std::size_t kOverhead = 4096;
  return static_cast<int>(2 * size + kOverhead);
}

bool IsServed(const UnixAddress& address) {
  const platform::ScopedFd probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  return probe.is_valid() && Connect(probe.get(), address);
}

}  // namespace

std::unique_ptr<ServedSocket> ServedSocket::Create(platform::Loop& loop, platform::FilePath path,
                                                   Receiver receiver) {
  const std::optional<UnixAddress> address = UnixAddress::OfFile(path);
  if (!address.has_value()) return nullptr;
  if (IsServed(*address)) {
    errno = EADDRINUSE;
    return nullptr;
  }
  unlink(path.c_str());
  platform::ScopedFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd.is_valid() || !BindForOwnerAndGroup(fd.get(), *address)) return nullptr;
  std::unique_ptr<ServedSocket> served(
      new ServedSocket(std::move(path), std::move(fd), std::move(receiver)));
  served->watch_ = loop.WatchReadable(served->fd_.get(), served.get());
  CHECK(served->watch_ != nullptr);
  return served;
}

ServedSocket::ServedSocket(platform::FilePath path, platform::ScopedFd fd, Receiver receiver)
    : path_(std::move(path)),
      identity_(Identify(path_)),
      fd_(std::move(fd)),
      receiver_(std::move(receiver)) {
  socklen_t length = sizeof(buffer_size_);
  CHECK(getsockopt(fd_.get(), SOL_SOCKET, SO_SNDBUF, &buffer_size_, &length) == 0);
}

ServedSocket::~ServedSocket() {
  if (IsAtPath()) unlink(path_.c_str());
}

bool ServedSocket::IsAtPath() const {
  return identity_.has_value() && Identify(path_) == identity_;
}

bool ServedSocket::IsRead() const {
  int used = 0;
  return ioctl(fd_.get(), SIOCOUTQ, &used) != 0 || used == 0;
}

// All datagrams can use half of the buffer, lines for the daemon three quarters, and answers all of
// it. Unread lines of the daemon are lost if it is killed, so they can use only a quarter.
bool ServedSocket::HasRoom(Share share) {
  int used = 0;
  if (ioctl(fd_.get(), SIOCOUTQ, &used) != 0) return true;
  used_by_others_ = std::min(used_by_others_, used);
  switch (share) {
    case Share::kAnswer:
      return true;
    case Share::kDaemonLine:
      return used < buffer_size_ / 4 * 3 && used - used_by_others_ < buffer_size_ / 4;
    case Share::kOtherLine:
      return used < buffer_size_ / 2;
  }
  return true;
}

SendResult ServedSocket::Send(const UnixAddress& to, Share share, std::string_view datagram) {
  if (!HasRoom(share)) return SendResult::kBusy;
  sockaddr_un address;
  const socklen_t length = to.Write(&address);
  const ssize_t sent = platform::RetryOnEintr([&] {
    return sendto(fd_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address), length);
  });
  if (sent >= 0) {
    if (share != Share::kDaemonLine) used_by_others_ += LargestCharge(datagram.size());
    return SendResult::kSent;
  }
  const bool is_busy = errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM;
  return is_busy ? SendResult::kBusy : SendResult::kGone;
}

void ServedSocket::OnReadReady(int fd) {
  const std::weak_ptr<const bool> alive = alive_;
  const Receiver receiver = receiver_;
  std::array<char, kLongestCommand + 1> buffer;
  for (int i = 0; i < kDatagramsPerWakeUp && !alive.expired(); ++i) {
    UnixAddress sender;
    const ssize_t length = ReceiveFrom(fd, buffer.data(), buffer.size(), &sender);
    if (length < 0) return;
    receiver(sender, {buffer.data(),
                      std::min<std::size_t>(static_cast<std::size_t>(length), buffer.size())});
  }
}

}  // namespace orvane::bridge
