#ifndef TESTBED_PRIVATE_BUS_H_
#define TESTBED_PRIVATE_BUS_H_

#include <sys/types.h>

#include <memory>
#include <string>

#include "testbed/child_process.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {

// A real dbus-daemon for one test that lets everybody do everything (testbed/private_bus.conf).
// While it lives, and after, DBUS_SYSTEM_BUS_ADDRESS of this process names it: a test never reaches
// the machine's own bus. It dies with the thread that made it, and each failure to set it up ends
// the process.
class PrivateBus {
 public:
  // Returns when the bus takes connections. `rules` are <allow> and <deny> elements of its
  // configuration, which count more than the ones that let everybody do everything.
  explicit PrivateBus(const std::string& rules = "");

  const std::string& address() const { return address_; }
  pid_t pid() const { return process_->pid(); }

  // Ends the dbus-daemon without letting it say goodbye. Nothing if it does not run.
  void Kill();

  // Starts it, at the same address.
  void Start();

 private:
  TemporaryDirectory directory_;
  std::string address_ = "unix:path=" + (directory_.path() / "bus").native();
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_PRIVATE_BUS_H_
