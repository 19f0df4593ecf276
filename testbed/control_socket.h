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

// The address of a path, or of an abstract name, which begins with a null character; what is behind
// it is zero. Fatal when it is too long.
sockaddr_un UnixAddress(std::string_view name);

// Where a datagram came from.
struct PeerAddress {
  sockaddr_un address{};
  socklen_t length = 0;

  // A peer that has no name can't be answered.
  bool has_name() const { return length > sizeof(sa_family_t); }

  // All bytes of the name, the zeros of an abstract one too.
  std::string Bytes() const;

  // The path; an abstract name with "@" in place of its first zero byte and without those at its
  // end; "nobody" when there is no name.
  std::string Text() const;

  friend bool operator==(const PeerAddress& a, const PeerAddress& b);
};

struct Command {
  PeerAddress sender;
  std::string text;
};

// A control socket as hostapd has it: a datagram socket with a path, which talks to whoever wrote
// to it. The path is removed on destruction, unless somebody else has taken it meanwhile.
class ControlSocket {
 public:
  enum class SendResult { kSent, kFull, kGone };

  explicit ControlSocket(platform::FilePath path) : path_(std::move(path)) {}
  ControlSocket(const ControlSocket&) = delete;
  ControlSocket& operator=(const ControlSocket&) = delete;
  ~ControlSocket();

  // Takes the place of a socket that nobody serves any more.
  [[nodiscard]] Failure Open();

  int fd() const { return socket_.get(); }

  // Nothing when there is none. Doesn't block.
  std::optional<Command> Receive();

  // While the peer's queue is full, waits up to 20 ms for it.
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
