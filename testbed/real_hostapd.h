#ifndef TESTBED_REAL_HOSTAPD_H_
#define TESTBED_REAL_HOSTAPD_H_

#include <signal.h>

#include <chrono>
#include <memory>
#include <string>

#include "testbed/access_point.h"
#include "testbed/child_process.h"

namespace orvane::ap {

// An access point with the distribution's hostapd at 5 GHz, which needs no radio for its control
// socket.
class RealHostapd : public AccessPoint {
 protected:
  // Runs one, and waits until it serves its socket.
  void StartHostapd();
  void StopHostapd(int signal_number = SIGTERM);

  // Whether the daemon attaches, as hostapd has it; each time counts once.
  bool IsAttached(std::chrono::milliseconds timeout = kPatience);

  // Runs a command of hostapd's own client.
  static void Command(const std::string& name, const std::string& argument = "");

  lab::ChildProcess& hostapd() { return *hostapd_; }

 private:
  std::unique_ptr<lab::ChildProcess> hostapd_;
};

}  // namespace orvane::ap

#endif  // TESTBED_REAL_HOSTAPD_H_
