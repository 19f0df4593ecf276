#ifndef BRIDGE_SERVED_SOCKET_H_
#define BRIDGE_SERVED_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bridge/file_identity.h"
#include "bridge/monitor_set.h"
#include "bridge/unix_address.h"
#include "platform/files.h"
#include "platform/loop.h"

namespace orvane::bridge {

// A control socket like hostapd's: a datagram socket with a path, for owner and group. The
// destructor removes the file, unless another process has replaced it.
//
// All datagrams that clients have not read yet use the one send buffer of this socket. So that a
// client that does not read can't fill it, parts of it are reserved for answers and for the daemon.
class ServedSocket : private platform::FdWatcher {
 public:
  // The longest accepted command, which is hostapd's own limit.
  static constexpr std::size_t kLongestCommand = 4095;

  // Receives a datagram, truncated to kLongestCommand + 1 bytes. The callback may destroy the
  // socket.
  using Receiver = std::function<void(const UnixAddress& sender, std::string_view datagram)>;

  // Creates the socket. Replaces what a killed process has left at the path, but not a socket that
  // another process serves. Returns null, with errno set, on failure. The loop must outlive the
  // socket.
  static std::unique_ptr<ServedSocket> Create(platform::Loop& loop, platform::FilePath path,
                                              Receiver receiver);
  ServedSocket(const ServedSocket&) = delete;
  ServedSocket& operator=(const ServedSocket&) = delete;
  ~ServedSocket() override;

  // The kind of a datagram. Each kind may use its own share of the send buffer and the shares of
  // the kinds after it.
  enum class Share : std::uint8_t { kAnswer, kDaemonLine, kOtherLine };

  // Returns whether clients can find the socket. Another process may have deleted or replaced its
  // file.
  bool IsAtPath() const;

  // Returns whether all clients have read everything.
  bool IsRead() const;

  SendResult Send(const UnixAddress& to, Share share, std::string_view datagram);

 private:
  ServedSocket(platform::FilePath path, platform::ScopedFd fd, Receiver receiver);

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}
  bool HasRoom(Share share);

  platform::FilePath path_;
  std::optional<FileIdentity> identity_;
  platform::ScopedFd fd_;
  int buffer_size_ = 0;
  // Upper limit of what unread datagrams other than the daemon's lines use of the buffer.
  int used_by_others_ = 0;
  Receiver receiver_;
  std::unique_ptr<platform::FdWatch> watch_;
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace orvane::bridge

#endif  // BRIDGE_SERVED_SOCKET_H_
