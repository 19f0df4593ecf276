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

// Shared, since a task that answers it later has to be copyable.
std::shared_ptr<sd_bus_message> KeepMessage(sd_bus_message* message);

// A result of sd-bus that can only be bad when memory is short or a call is wrongly used: fatal.
void MustSucceed(int result);

// A service's place on the system bus (DBUS_SYSTEM_BUS_ADDRESS): its connection, served by the
// loop, and its name. Losing the bus, or failing to get the name later on, ends the loop with
// failure.
class BusPeer {
 public:
  BusPeer(platform::SdEventLoop& loop, std::string name);

  [[nodiscard]] Failure Connect();

  // Claims the name: now, or once `late` has passed. `on_claimed` runs when it has it. To be called
  // when everything is in place, since clients that wait for the name ask at once.
  [[nodiscard]] Failure Claim(platform::TimeSpan late, std::function<void()> on_claimed);

  // Sends the message and drops it. A failure is logged: the bus is gone, and the loop is ending.
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
