#ifndef PLATFORM_BUS_SLOT_H_
#define PLATFORM_BUS_SLOT_H_

#include <systemd/sd-bus.h>

#include <memory>

namespace orvane::platform::bus {

// Sends queued messages, closes the connection and releases it.
struct BusDeleter {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusDeleter>;

// A registration with the bus library; destroying it unregisters.
struct SlotDeleter {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SlotPtr = std::unique_ptr<sd_bus_slot, SlotDeleter>;

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_SLOT_H_
