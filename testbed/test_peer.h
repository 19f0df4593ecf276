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

// Another process on the bus: a service or a stranger, with its own connection to the bus of
// DBUS_SYSTEM_BUS_ADDRESS. It answers calls while it is served, by the test's loop or by a
// PeerThread; the latter is needed for blocking calls, which hold the loop. Failures abort the
// process.
class TestPeer {
 public:
  // Replies to a method call, or not. Returns false if the call is for an unknown object; the bus
  // library then sends that error.
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

  // An empty `destination` means a broadcast.
  void EmitSignal(const std::string& destination, const std::string& path,
                  const std::string& interface, const std::string& member, const Filler& fill);

  // Serves the peer from a loop, which must outlive it.
  void AttachTo(platform::SdEventLoop& loop);

  sd_bus* bus() const { return bus_.get(); }
  std::string unique_name() const;

 private:
  static int OnMessage(sd_bus_message* message, void* peer, sd_bus_error* error) noexcept;

  CallHandler handler_;
  platform::bus::BusPtr bus_;
  platform::bus::SlotPtr filter_;
};

// Serves a peer on its own thread. Nothing else may use the peer during that time.
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
