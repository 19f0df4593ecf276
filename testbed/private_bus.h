#ifndef TESTBED_PRIVATE_BUS_H_
#define TESTBED_PRIVATE_BUS_H_

#include <sys/types.h>

#include <memory>
#include <string>

#include "testbed/child_process.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {

// A real dbus-daemon for one test, without access restrictions (testbed/private_bus.conf). The
// constructor sets DBUS_SYSTEM_BUS_ADDRESS of this process to it, permanently: a test never reaches
// the machine's own bus. It ends with the thread that created it. Setup failures abort the process.
class PrivateBus {
 public:
  // Returns when the bus accepts connections. `rules` are <allow> and <deny> elements of its
  // configuration, which override the default ones.
  explicit PrivateBus(const std::string& rules = "");

  const std::string& address() const { return address_; }
  pid_t pid() const { return process_->pid(); }

  // Kills the dbus-daemon, if it runs.
  void Kill();

  // Starts it again, at the same address.
  void Start();

 private:
  TemporaryDirectory directory_;
  std::string address_ = "unix:path=" + (directory_.path() / "bus").native();
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_PRIVATE_BUS_H_
