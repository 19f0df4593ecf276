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

// The distribution's hostapd at 5 GHz. Its control socket needs no radio.
class RealHostapd {
 public:
  // Writes its configuration to `directory`.
  explicit RealHostapd(platform::FilePath directory) : directory_(std::move(directory)) {}

  // Starts it and waits until it serves its socket.
  void Start();
  // Sends the signal and waits for the end.
  void Stop(int signal_number = SIGTERM);

  // Returns whether a client attaches in time. Each attach counts once.
  bool IsAttached(std::chrono::milliseconds timeout = kPatience);

  // Runs a command of hostapd_cli.
  static void Command(const std::string& name, const std::string& argument = "");

  ChildProcess& process() { return *process_; }

 private:
  platform::FilePath directory_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_REAL_HOSTAPD_H_
