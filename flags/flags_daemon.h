#ifndef FLAGS_FLAGS_DAEMON_H_
#define FLAGS_FLAGS_DAEMON_H_

#include <optional>
#include <vector>

#include "flags/flags_publisher.h"
#include "platform/bus/bus_service_daemon.h"
#include "platform/bus/exported_object.h"
#include "platform/files.h"

namespace orvane::flags {

// The flags service: publishes the flags from files as a property on the system bus.
class FlagsDaemon : public platform::bus::BusServiceDaemon {
 public:
  explicit FlagsDaemon(std::vector<platform::FilePath> directories);

 protected:
  int OnInit() override;

 private:
  std::vector<platform::FilePath> directories_;
  std::optional<FlagsPublisher> publisher_;
  std::optional<platform::bus::ExportedObject> object_;
};

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_DAEMON_H_
