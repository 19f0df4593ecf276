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

// A connection to the system bus, served by a loop. If the connection is lost, it logs an ERROR
// line and ends the loop with kConnectionLostExitCode, so that the service manager restarts the
// process.
//
// The destructor sends queued messages and closes the connection. It drops the messages if the bus
// reads nothing for a second. Subscriptions and pending calls must be destroyed before the
// connection.
class Connection {
 public:
  // Connects to the system bus. The environment variable DBUS_SYSTEM_BUS_ADDRESS overrides its
  // address. Blocks until the bus accepts the connection or the bus library gives up, after up to
  // 90 s. On failure returns null and adds an error. `loop` must outlive the connection.
  static std::shared_ptr<Connection> OpenSystemBus(SdEventLoop& loop, ErrorHolder error);

  // Takes over a connected `bus`. Use OpenSystemBus instead.
  Connection(BusPtr bus, SdEventLoop& loop);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  // Returns a proxy for the object at `path` of `service`. The connection owns it. Causes no bus
  // traffic.
  ObjectProxy* GetObjectProxy(const std::string& service, const std::string& path);

  // Claims a name for the lifetime of the connection. On failure returns false and adds an error.
  // It fails if the name has an owner: the connection does not wait for the name or take it over.
  bool RequestName(const std::string& name, ErrorHolder error);

  // Publishes an object manager at `path` that manages no objects.
  bool ExportObjectManager(const std::string& path, ErrorHolder error);

  sd_bus* bus() const { return bus_.get(); }
  SdEventLoop& loop() const { return loop_; }

 private:
  bool Attach(ErrorHolder error);
  void SendQueued();
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
