#ifndef PLATFORM_BUS_CONNECTION_H_
#define PLATFORM_BUS_CONNECTION_H_

#include <sysexits.h>
#include <systemd/sd-bus.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/messages.h"
#include "platform/bus/object_proxy.h"
#include "platform/bus/slot.h"
#include "platform/sd_event_loop.h"

namespace orvane::platform::bus {

// The exit code of a loop whose bus connection was lost.
inline constexpr int kConnectionLostExitCode = EX_UNAVAILABLE;

// A connection to the system bus, served by a loop. When it is lost, an ERROR line says so and the
// loop ends with kConnectionLostExitCode: the process is to be started anew by whoever watches it.
//
// Destroying it sends what is still queued and closes it. Subscriptions and calls made through it
// should be gone by then.
class Connection {
 public:
  // Connects to the system bus, which DBUS_SYSTEM_BUS_ADDRESS may name, and waits until the bus has
  // let us in. Null, and an error added, when it does not. `loop` must outlive the connection.
  static std::shared_ptr<Connection> OpenSystemBus(SdEventLoop& loop, ErrorHolder error);

  // Use OpenSystemBus. Takes over a connected `bus`.
  Connection(BusPtr bus, SdEventLoop& loop);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  // The object of that path in that service, for as long as the connection lives. No bus traffic.
  ObjectProxy* GetObjectProxy(const std::string& service, const std::string& path);

  // Claims a name for as long as the connection lives. A name that somebody owns is an error: we
  // neither wait for it nor take it away.
  bool RequestName(const std::string& name, ErrorHolder error);

  // Publishes an object manager at `path` that manages no objects.
  bool ExportObjectManager(const std::string& path, ErrorHolder error);

  sd_bus* bus() const { return bus_.get(); }
  SdEventLoop& loop() const { return loop_; }

 private:
  bool Attach(ErrorHolder error);
  static int OnDisconnected(sd_bus_message* message, void* connection,
                            sd_bus_error* error) noexcept;

  SdEventLoop& loop_;
  BusPtr bus_;
  SlotPtr disconnected_slot_;
  SlotPtr object_manager_slot_;
  std::map<std::pair<std::string, std::string>, std::unique_ptr<ObjectProxy>> proxies_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_CONNECTION_H_
