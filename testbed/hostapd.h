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

// hostapd's end of one control socket, controlled by the test: it receives and sends only when the
// test calls it. Otherwise it behaves like a hung hostapd. HostapdStandin is a program that plays
// events by itself.
class Hostapd {
 public:
  using Clock = std::chrono::steady_clock;

  // Serves the socket and replaces one that was left behind. A relative path, such as an
  // interface's name, is below kControlDirectory. Creates a missing directory.
  explicit Hostapd(const platform::FilePath& socket);

  // Simulates a kill: the socket file stays, and nobody serves it.
  static void Kill(std::unique_ptr<Hostapd> hostapd);

  // Returns the next datagram, if any. Later answers and events go to its sender.
  std::optional<std::string> Receive();

  // Waits for the next datagram. Returns it with its arrival time, or nothing after `timeout`.
  struct Received {
    std::string text;
    Clock::time_point time;
  };
  std::optional<Received> WaitForCommand(std::chrono::milliseconds timeout = kPatience);

  // Expects this command next. Returns its arrival time.
  Clock::time_point ExpectCommand(std::string_view command,
                                  std::chrono::milliseconds timeout = kPatience);

  // Expects no command during `time`.
  void ExpectSilence(std::chrono::milliseconds time);

  // Sends an answer or an event line. Waits while the receiver's queue is full, and expects
  // success. Returns whether it was sent.
  bool Send(std::string_view text);
  // Like Send, but with a short wait and without an expectation.
  ControlSocket::SendResult TrySend(std::string_view text);

  // Returns whether the receiver has read everything that was sent.
  bool IsTaken() const;

  // Expects and answers ATTACH. Returns its arrival time.
  Clock::time_point Attach();

  // The name of the last sender's socket; "@" replaces the leading zero of an abstract name.
  std::string SenderName() const { return sender_.Text(); }
  const PeerAddress& sender() const { return sender_; }

  platform::FilePath path() const { return path_; }

 private:
  platform::FilePath path_;
  ControlSocket socket_;
  PeerAddress sender_;
};

// Returns the absolute path of a socket for Hostapd.
platform::FilePath ControlSocketPath(const platform::FilePath& socket);

// Leaves a socket file that nobody serves, like a killed hostapd.
void LeaveSocketFile(const std::string& interface);

// Sends commands to the socket of an interface until its queue is full.
void FillQueue(const std::string& interface);

}  // namespace orvane::testbed

#endif  // TESTBED_HOSTAPD_H_
