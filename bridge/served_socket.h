#ifndef BRIDGE_SERVED_SOCKET_H_
#define BRIDGE_SERVED_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "bridge/monitor_set.h"
#include "bridge/unix_address.h"
#include "platform/files.h"
#include "platform/loop.h"

namespace orvane::bridge {

// A control socket as hostapd has them: a datagram socket with a path, for owner and group. It
// exists as long as this object.
//
// What clients have not read yet counts against the one send buffer of this socket. So a client
// that does not read must not use all of it: shares are kept for answers and for the daemon.
class ServedSocket : private platform::FdWatcher {
 public:
  // The longest command that is accepted; hostapd's own limit.
  static constexpr std::size_t kLongestCommand = 4095;

  // A datagram, cut off behind kLongestCommand + 1 bytes. The callback may destroy the socket.
  using Receiver = std::function<void(const UnixAddress& sender, std::string_view datagram)>;

  // Takes the place of what a process that was killed has left at the path. Null, with errno, if it
  // can't be made. The loop must outlive the socket.
  static std::unique_ptr<ServedSocket> Create(platform::Loop& loop, platform::FilePath path,
                                              Receiver receiver);
  ServedSocket(const ServedSocket&) = delete;
  ServedSocket& operator=(const ServedSocket&) = delete;
  ~ServedSocket() override;

  // What a datagram is. Each may use its share of the send buffer, and those of the ones after it.
  enum class Share : std::uint8_t { kAnswer, kDaemonLine, kOtherLine };

  SendResult Send(const UnixAddress& to, Share share, std::string_view datagram);

 private:
  ServedSocket(platform::FilePath path, platform::ScopedFd fd, Receiver receiver);

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}
  bool HasRoom(Share share) const;

  platform::FilePath path_;
  platform::ScopedFd fd_;
  int buffer_size_ = 0;
  Receiver receiver_;
  std::unique_ptr<platform::FdWatch> watch_;
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace orvane::bridge

#endif  // BRIDGE_SERVED_SOCKET_H_
