#ifndef BENCH_DAEMON_H_
#define BENCH_DAEMON_H_

#include <sys/types.h>

#include <chrono>

#include "testbed/access_point.h"
#include "testbed/hostapd.h"

namespace orvane::bench {

// A process by its number, seen from outside. That it does not get there is fatal.

void AwaitAsleep(pid_t pid);
void Stop(pid_t pid);    // returns when it is stopped
void Resume(pid_t pid);  // returns at once

// Waits until the peer has taken all that was sent.
void AwaitTaken(const testbed::Hostapd& hostapd);

// The real daemon, on a bus of its own, attached to both control sockets, asleep.
class Daemon {
 public:
  explicit Daemon(const testbed::Arguments& arguments = {});

  pid_t pid() { return access_point_.daemon().pid(); }
  testbed::Hostapd& hostapd() { return access_point_.wlan2400(); }
  // From before its start to the second ATTACH.
  std::chrono::nanoseconds start_time() const { return start_time_; }

 private:
  testbed::AccessPoint access_point_;
  std::chrono::nanoseconds start_time_{};
};

}  // namespace orvane::bench

#endif  // BENCH_DAEMON_H_
