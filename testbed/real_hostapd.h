#ifndef TESTBED_REAL_HOSTAPD_H_
#define TESTBED_REAL_HOSTAPD_H_

#include <signal.h>

#include <chrono>
#include <memory>
#include <string>

#include "platform/files.h"
#include "testbed/child_process.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

// The distribution's hostapd at 5 GHz, which needs no radio for its control socket.
class RealHostapd {
 public:
  // Its configuration goes to `directory`, which must outlive it.
  explicit RealHostapd(platform::FilePath directory) : directory_(std::move(directory)) {}

  // Runs it, and waits until it serves its socket.
  void Start();
  // Signals it, and waits for its end.
  void Stop(int signal_number = SIGTERM);

  // Whether a client attaches in time; each time counts once.
  bool IsAttached(std::chrono::milliseconds timeout = kPatience);

  // Runs a command of hostapd's own client.
  static void Command(const std::string& name, const std::string& argument = "");

  ChildProcess& process() { return *process_; }

 private:
  platform::FilePath directory_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_REAL_HOSTAPD_H_
