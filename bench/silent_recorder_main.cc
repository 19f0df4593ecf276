// A metrics recorder that answers every call at once and stores nothing.

#include <systemd/sd-bus.h>

#include <iostream>

#include "testbed/bus_peer.h"

namespace {

int OnCall(sd_bus_message* call, void* /*data*/, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(call, nullptr);
}

}  // namespace

int main() {
  using orvane::testbed::MustSucceed;
  sd_bus* opened = nullptr;
  MustSucceed(sd_bus_open_system(&opened));
  const orvane::platform::bus::BusPtr bus(opened);
  MustSucceed(
      sd_bus_add_object(opened, nullptr, "/org/velmora/ap/Quillary/Manager", OnCall, nullptr));
  MustSucceed(sd_bus_request_name(opened, "org.velmora.ap.Quillary", 0));
  std::cout << "ready\n" << std::flush;
  for (;;) {
    const int handled = sd_bus_process(opened, nullptr);
    if (handled < 0) return 1;
    if (handled == 0) MustSucceed(sd_bus_wait(opened, UINT64_MAX));
  }
}
