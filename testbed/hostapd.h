#ifndef TESTBED_HOSTAPD_H_
#define TESTBED_HOSTAPD_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/control_socket.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

inline constexpr char kControlDirectory[] = "/var/run/hostapd";
inline constexpr char kWlan2400[] = "wlan-2400mhz";
inline constexpr char kWlan5000[] = "wlan-5000mhz";

// hostapd's end of one control socket, moved by hand: it reads, answers and sends what the test
// wants it to, when it wants it. While nobody calls it, it is a hung hostapd. What plays events by
// itself, as a program, is HostapdStandin.
class Hostapd {
 public:
  using Clock = std::chrono::steady_clock;

  // Serves the socket, in place of one that was left behind. A relative path, such as an
  // interface's name, is below kControlDirectory. Makes the directory where it is missing.
  explicit Hostapd(const platform::FilePath& socket);

  // Ends it as a kill does: the socket file is left, and nobody serves it.
  static void Kill(std::unique_ptr<Hostapd> hostapd);

  // The next datagram, if one has come in. Its sender is who later answers and events go to.
  std::optional<std::string> Receive();

  // The next datagram to come in, and when it did; nothing after `timeout`.
  struct Received {
    std::string text;
    Clock::time_point time;
  };
  std::optional<Received> WaitForCommand(std::chrono::milliseconds timeout = kPatience);

  // Expects the command as the next one. When it came.
  Clock::time_point ExpectCommand(std::string_view command,
                                  std::chrono::milliseconds timeout = kPatience);

  // Expects no command for so long.
  void ExpectSilence(std::chrono::milliseconds time);

  // An answer or an event line. Waits while the receiver's queue is full, and expects that the
  // receiver takes it. Whether it does.
  bool Send(std::string_view text);
  // The same, but not waiting for long, and nothing is expected.
  ControlSocket::SendResult TrySend(std::string_view text);

  // Whether nothing of what was sent waits in the receiver's queue.
  bool IsTaken() const;

  // ATTACH comes in and is answered. When it came.
  Clock::time_point Attach();

  // The name of the last sender's socket; "@" stands for the zero byte of an abstract one.
  std::string SenderName() const { return sender_.Text(); }
  const PeerAddress& sender() const { return sender_; }

  platform::FilePath path() const { return path_; }

 private:
  platform::FilePath path_;
  ControlSocket socket_;
  PeerAddress sender_;
};

// The path as Hostapd takes it.
platform::FilePath ControlSocketPath(const platform::FilePath& socket);

// As a hostapd that was killed leaves it: a socket that nobody serves.
void LeaveSocketFile(const std::string& interface);

// Sends commands to the socket of an interface until its queue takes no more.
void FillQueue(const std::string& interface);

}  // namespace orvane::testbed

#endif  // TESTBED_HOSTAPD_H_
