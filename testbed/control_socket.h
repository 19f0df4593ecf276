#ifndef TESTBED_CONTROL_SOCKET_H_
#define TESTBED_CONTROL_SOCKET_H_

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// Returns the address of a path, or of an abstract name, which begins with a null character. The
// rest is zero. Aborts if the name is too long.
sockaddr_un UnixAddress(std::string_view name);

// The sender of a datagram.
struct PeerAddress {
  sockaddr_un address{};
  socklen_t length = 0;

  // A sender without a name can't be answered.
  bool has_name() const { return length > sizeof(sa_family_t); }

  // All bytes of the name, including the trailing zeros of an abstract one.
  std::string Bytes() const;

  // The path; for an abstract name "@" in place of the first zero byte, without trailing zeros;
  // "nobody" without a name.
  std::string Text() const;

  friend bool operator==(const PeerAddress& a, const PeerAddress& b);
};

struct Command {
  PeerAddress sender;
  std::string text;
};

// A control socket like hostapd's: a datagram socket with a path, which sends to its clients. The
// destructor removes the path unless another socket has replaced it.
class ControlSocket {
 public:
  enum class SendResult { kSent, kFull, kGone };

  explicit ControlSocket(platform::FilePath path) : path_(std::move(path)) {}
  ControlSocket(const ControlSocket&) = delete;
  ControlSocket& operator=(const ControlSocket&) = delete;
  ~ControlSocket();

  // Replaces a socket that nobody serves.
  [[nodiscard]] Failure Open();

  int fd() const { return socket_.get(); }

  // Returns nothing if no command is pending. Does not block.
  std::optional<Command> Receive();

  // Blocks up to 20 ms while the peer's queue is full.
  SendResult Send(const PeerAddress& peer, std::string_view text);

 private:
  static constexpr suseconds_t kLongestWaitUsec = 20'000;

  bool Bind();
  bool IsAbandoned() const;

  platform::FilePath path_;
  platform::ScopedFd socket_;
  ino_t inode_ = 0;
};

}  // namespace orvane::testbed

#endif  // TESTBED_CONTROL_SOCKET_H_
