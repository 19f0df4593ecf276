#ifndef TESTBED_TEST_PEER_H_
#define TESTBED_TEST_PEER_H_

#include <systemd/sd-bus.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/bus/messages.h"
#include "platform/bus/slot.h"
#include "platform/sd_event_loop.h"

namespace orvane::testbed {

// Somebody else on the bus: a service, or a stranger, with a connection of its own to the bus that
// DBUS_SYSTEM_BUS_ADDRESS names. It answers calls when it is served: by the loop of the test, or,
// since a blocking call holds that one, by a PeerThread. Each failure ends the process.
class TestPeer {
 public:
  // Replies to a method call, or doesn't. Whether the call was its own; if not, the bus library
  // answers that there is no such object.
  using CallHandler = std::function<bool(sd_bus_message* call)>;
  using Filler = std::function<void(platform::bus::MessageWriter& writer)>;

  TestPeer();
  TestPeer(const TestPeer&) = delete;
  TestPeer& operator=(const TestPeer&) = delete;

  void RequestName(const std::string& name);
  void ReleaseName(const std::string& name);
  void HandleCalls(CallHandler handler) { handler_ = std::move(handler); }

  void Reply(sd_bus_message* call, const Filler& fill);
  void ReplyError(sd_bus_message* call, const std::string& name, const std::string& text);

  // A broadcast when `destination` is empty.
  void EmitSignal(const std::string& destination, const std::string& path,
                  const std::string& interface, const std::string& member, const Filler& fill);

  // Serves it from a loop, which must outlive it.
  void AttachTo(platform::SdEventLoop& loop);

  sd_bus* bus() const { return bus_.get(); }
  std::string unique_name() const;

 private:
  static int OnMessage(sd_bus_message* message, void* peer, sd_bus_error* error) noexcept;

  CallHandler handler_;
  platform::bus::BusPtr bus_;
  platform::bus::SlotPtr filter_;
};

// Serves a peer, which nobody else uses meanwhile, on a thread of its own.
class PeerThread {
 public:
  explicit PeerThread(TestPeer& peer);
  ~PeerThread();

 private:
  void Serve();

  TestPeer& peer_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_TEST_PEER_H_
