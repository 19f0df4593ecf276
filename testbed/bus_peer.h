#ifndef TESTBED_BUS_PEER_H_
#define TESTBED_BUS_PEER_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/bus/slot.h"
#include "platform/one_shot_timer.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// Shared, since a task that answers it later must be copyable.
std::shared_ptr<sd_bus_message> KeepMessage(sd_bus_message* message);

// Aborts on failure. For calls of sd-bus that fail only for lack of memory or by misuse.
void MustSucceed(int result);

// A service on the system bus (DBUS_SYSTEM_BUS_ADDRESS): its connection, served by the loop, and
// its name. If the bus is lost, or a late claim of the name fails, the loop ends with failure.
class BusPeer {
 public:
  BusPeer(platform::SdEventLoop& loop, std::string name);

  [[nodiscard]] Failure Connect();

  // Claims the name at once, or after `late`. `on_claimed` runs when the name is owned. Call it
  // last, since clients that wait for the name send requests at once.
  [[nodiscard]] Failure Claim(platform::TimeSpan late, std::function<void()> on_claimed);

  // Sends and releases the message. A failure is logged: the bus is lost and the loop is ending.
  void Send(sd_bus_message* message);

  bool has_name() const { return has_name_; }
  sd_bus* bus() const { return bus_.get(); }

 private:
  Failure ClaimNow();

  platform::SdEventLoop& loop_;
  std::string name_;
  platform::bus::BusPtr bus_;
  bool has_name_ = false;
  std::function<void()> on_claimed_;
  platform::OneShotTimer claim_timer_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_BUS_PEER_H_
