#include "testbed/test_peer.h"

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

// How often a PeerThread checks whether it must end.
constexpr std::uint64_t kWaitUsec = 10'000;

void FillAndSend(platform::bus::MessagePtr message, const TestPeer::Filler& fill) {
  platform::bus::MessageWriter writer(message.get());
  fill(writer);
  CHECK(writer.ok());
  sd_bus* bus = sd_bus_message_get_bus(message.get());
  CHECK(sd_bus_send(bus, message.get(), nullptr) >= 0);
  CHECK(sd_bus_flush(bus) >= 0);
}

}  // namespace

TestPeer::TestPeer() {
  sd_bus* bus = nullptr;
  CHECK(sd_bus_open_system(&bus) >= 0);
  bus_.reset(bus);
  const char* unique_name = nullptr;
  CHECK(sd_bus_get_unique_name(bus, &unique_name) >= 0);
  sd_bus_slot* slot = nullptr;
  CHECK(sd_bus_add_filter(bus, &slot, &OnMessage, this) >= 0);
  filter_.reset(slot);
}

void TestPeer::RequestName(const std::string& name) {
  CHECK(sd_bus_request_name(bus(), name.c_str(), 0) >= 0);
}

void TestPeer::ReleaseName(const std::string& name) {
  CHECK(sd_bus_release_name(bus(), name.c_str()) >= 0);
}

void TestPeer::Reply(sd_bus_message* call, const Filler& fill) {
  sd_bus_message* reply = nullptr;
  CHECK(sd_bus_message_new_method_return(call, &reply) >= 0);
  FillAndSend(platform::bus::MessagePtr(reply), fill);
}

void TestPeer::ReplyError(sd_bus_message* call, const std::string& name, const std::string& text) {
  const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST(name.c_str(), text.c_str());
  CHECK(sd_bus_reply_method_error(call, &error) >= 0);
}

void TestPeer::EmitSignal(const std::string& destination, const std::string& path,
                          const std::string& interface, const std::string& member,
                          const Filler& fill) {
  sd_bus_message* signal = nullptr;
  CHECK(sd_bus_message_new_signal(bus(), &signal, path.c_str(), interface.c_str(),
                                  member.c_str()) >= 0);
  platform::bus::MessagePtr message(signal);
  if (!destination.empty()) {
    CHECK(sd_bus_message_set_destination(signal, destination.c_str()) >= 0);
  }
  FillAndSend(std::move(message), fill);
}

void TestPeer::AttachTo(platform::SdEventLoop& loop) {
  CHECK(sd_bus_attach_event(bus(), loop.event(), SD_EVENT_PRIORITY_NORMAL) >= 0);
}

std::string TestPeer::unique_name() const {
  const char* name = nullptr;
  CHECK(sd_bus_get_unique_name(bus(), &name) >= 0);
  return name;
}

int TestPeer::OnMessage(sd_bus_message* message, void* peer, sd_bus_error* /*error*/) noexcept {
  const auto* self = static_cast<TestPeer*>(peer);
  if (self->handler_ == nullptr) return 0;
  if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) return 0;
  return self->handler_(message) ? 1 : 0;
}

PeerThread::PeerThread(TestPeer& peer) : peer_(peer), thread_(&PeerThread::Serve, this) {}

PeerThread::~PeerThread() {
  stopping_ = true;
  thread_.join();
}

void PeerThread::Serve() {
  while (!stopping_) {
    const int result = sd_bus_process(peer_.bus(), nullptr);
    if (result < 0) return;  // the bus is lost
    if (result == 0) sd_bus_wait(peer_.bus(), kWaitUsec);
  }
}

}  // namespace orvane::testbed
