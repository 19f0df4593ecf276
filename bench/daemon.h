#ifndef BENCH_DAEMON_H_
#define BENCH_DAEMON_H_

#include <sys/types.h>

#include <chrono>

#include "testbed/access_point.h"
#include "testbed/hostapd.h"

namespace orvane::bench {

// Waits until the process sleeps. Aborts if it does not.
void AwaitAsleep(pid_t pid);
void Stop(pid_t pid);    // returns when the process is stopped
void Resume(pid_t pid);  // returns at once

// Waits until the peer has read everything that was sent.
void AwaitTaken(const testbed::Hostapd& hostapd);

// The real daemon on its own bus, attached to both control sockets, asleep.
class Daemon {
 public:
  explicit Daemon(const testbed::Arguments& arguments = {});

  pid_t pid() { return access_point_.daemon().pid(); }
  testbed::Hostapd& hostapd() { return access_point_.wlan2400(); }
  // From the start of the process to the second ATTACH.
  std::chrono::nanoseconds start_time() const { return start_time_; }

 private:
  testbed::AccessPoint access_point_;
  std::chrono::nanoseconds start_time_{};
};

}  // namespace orvane::bench

#endif  // BENCH_DAEMON_H_
