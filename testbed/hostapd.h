#ifndef TESTBED_HOSTAPD_H_
#define TESTBED_HOSTAPD_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/control_socket.h"

namespace orvane::ap {

// Long enough for anything that is going to happen, also with sanitizers on a busy machine.
inline constexpr std::chrono::seconds kPatience(20);

inline constexpr char kControlDirectory[] = "/var/run/hostapd";
inline constexpr char kWlan2400[] = "wlan-2400mhz";
inline constexpr char kWlan5000[] = "wlan-5000mhz";

// hostapd's end of one control socket, moved by hand: it reads, answers and tells what the test
// wants it to, when it wants it. While nobody calls it, it is a hung hostapd.
class Hostapd {
 public:
  using Clock = std::chrono::steady_clock;

  // Serves the socket, in place of one that was left behind.
  explicit Hostapd(const std::string& interface);

  // Ends it as a kill does: the socket file is left, and nobody serves it.
  static void Kill(std::unique_ptr<Hostapd> hostapd);

  // The next datagram to come in, and when it did; nothing after `timeout`. Its sender is who later
  // answers and events go to.
  struct Received {
    std::string text;
    Clock::time_point time;
  };
  std::optional<Received> Receive(std::chrono::milliseconds timeout = kPatience);

  // Expects the command as the next one. When it came.
  Clock::time_point ExpectCommand(std::string_view command,
                                  std::chrono::milliseconds timeout = kPatience);

  // Expects no command for so long.
  void ExpectSilence(std::chrono::milliseconds time);

  // An answer or an event line. Waits while the receiver's queue is full.
  void Send(std::string_view text);
  // The same, but not waiting for long, and nothing is expected.
  lab::ControlSocket::SendResult TrySend(std::string_view text);

  // Whether nothing of what was sent waits in the receiver's queue.
  bool IsTaken() const;

  // ATTACH comes in and is answered. When it came.
  Clock::time_point Attach();

  // The name of the last sender's socket; "@" stands for the zero byte of an abstract one.
  std::string SenderName() const { return sender_.Text(); }

  platform::FilePath path() const { return path_; }

 private:
  platform::FilePath path_;
  lab::ControlSocket socket_;
  lab::PeerAddress sender_;
};

platform::FilePath ControlSocketPath(const std::string& interface);

// As a hostapd that was killed leaves it: a socket that nobody serves.
void LeaveSocketFile(const std::string& interface);

// Sends commands to the socket of an interface until its queue takes no more.
void FillQueue(const std::string& interface);

}  // namespace orvane::ap

#endif  // TESTBED_HOSTAPD_H_
