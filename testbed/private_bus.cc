#include "testbed/private_bus.h"

#include <fmt/format.h>
#include <signal.h>
#include <stdlib.h>

#include "platform/logging.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

PrivateBus::PrivateBus(const std::string& rules) {
  WriteFile(directory_.path() / "bus.conf",
            fmt::format("<busconfig><include>{}</include>"
                        "<policy context=\"default\">{}</policy></busconfig>",
                        PRIVATE_BUS_CONFIGURATION, rules));
  CHECK(setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), /*replace=*/1) == 0);
  Start();
}

// Keeps the process's output and descriptors: tests count the descriptors of this process.
void PrivateBus::Kill() {
  process_->Signal(SIGKILL);
  CHECK(process_->WaitForExit(kPatience).has_value());
}

void PrivateBus::Start() {
  process_ = StartProcess({"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                           "--config-file=" + (directory_.path() / "bus.conf").native(),
                           "--address=" + address_, "--print-address"});
  // It prints its address when it accepts connections.
  CHECK(process_->out().WaitForLine("unix:", kPatience)) << process_->err().Text();
}

}  // namespace orvane::testbed
