#ifndef PLATFORM_BUS_NAME_OWNER_WATCH_H_
#define PLATFORM_BUS_NAME_OWNER_WATCH_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/bus/object_proxy.h"

namespace orvane::platform::bus {

class Connection;

// Knows who owns a name on the bus. Signals carry the unique name of their sender only, so this is
// what tells a service's own from those that a stranger sends in its name.
class NameOwnerWatch {
 public:
  using OwnerCallback = std::function<void()>;

  // `on_new_owner` runs, on the loop, whenever the name gets an owner from now on; it may destroy
  // the watch.
  NameOwnerWatch(Connection& connection, std::string name, OwnerCallback on_new_owner);

  // Whether the name's owner sent this.
  bool IsFromOwner(sd_bus_message* message) const;

 private:
  void OnOwnerReply(sd_bus_message* reply, const Error* error);
  void OnOwnerChanged(sd_bus_message* signal);

  std::string name_;
  OwnerCallback on_new_owner_;
  std::string owner_;  // a unique name; empty while there is none, or it is not known yet
  std::unique_ptr<SignalSubscription> subscription_;
  std::unique_ptr<PendingCall> pending_get_owner_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_NAME_OWNER_WATCH_H_
