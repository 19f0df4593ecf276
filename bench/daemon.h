#ifndef BENCH_DAEMON_H_
#define BENCH_DAEMON_H_

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "testbed/child_process.h"
#include "testbed/control_socket.h"
#include "testbed/private_bus.h"

namespace orvane::bench {

// hostapd's end of a control socket, for one peer.
class Hostapd {
 public:
  explicit Hostapd(const std::string& interface);

  // Waits for the peer's ATTACH and answers it.
  void AwaitAttach();

  // The peer must have room for it.
  void Send(std::string_view text);

  // Waits until the peer has taken all that was sent.
  void AwaitTaken() const;

  std::string path() const;

 private:
  std::string path_;
  lab::ControlSocket socket_;
  lab::PeerAddress peer_;
};

// A process by its number, seen from outside.

void AwaitAsleep(pid_t pid);
void Stop(pid_t pid);    // returns when it is stopped
void Resume(pid_t pid);  // returns at once

std::unique_ptr<lab::ChildProcess> StartProcess(const lab::ChildProcess::Arguments& arguments);

// The real daemon, on a bus of its own, attached to both control sockets.
class Daemon {
 public:
  explicit Daemon(const lab::ChildProcess::Arguments& arguments = {});

  pid_t pid() const { return process_->pid(); }
  Hostapd& hostapd() { return wlan2400_; }
  // From before its start to the second ATTACH.
  std::chrono::nanoseconds start_time() const { return start_time_; }

 private:
  platform::bus::PrivateBus bus_;
  Hostapd wlan2400_;
  Hostapd wlan5000_;
  std::unique_ptr<lab::ChildProcess> process_;
  std::chrono::nanoseconds start_time_{};
};

}  // namespace orvane::bench

#endif  // BENCH_DAEMON_H_
