#include "testbed/bus_peer.h"

#include <utility>

#include "platform/logging.h"
#include "testbed/program.h"

namespace orvane::testbed {
namespace {

Failure BusFailure(int result, const std::string& what) {
  if (result >= 0) return std::nullopt;
  return what + ": " + platform::SystemErrorText(-result);
}

}  // namespace

std::shared_ptr<sd_bus_message> KeepMessage(sd_bus_message* message) {
  return {sd_bus_message_ref(message), &sd_bus_message_unref};
}

void MustSucceed(int result) { CHECK(result >= 0) << platform::SystemErrorText(-result); }

BusPeer::BusPeer(platform::SdEventLoop& loop, std::string name)
    : loop_(loop), name_(std::move(name)), claim_timer_(loop) {}

Failure BusPeer::Connect() {
  sd_bus* bus = nullptr;
  int result = sd_bus_open_system(&bus);
  bus_.reset(bus);
  if (result >= 0) result = sd_bus_attach_event(bus, loop_.event(), SD_EVENT_PRIORITY_NORMAL);
  if (result >= 0) result = sd_bus_set_exit_on_disconnect(bus, 1);
  return BusFailure(result, "Can't connect to the system bus");
}

Failure BusPeer::Claim(platform::TimeSpan late, std::function<void()> on_claimed) {
  on_claimed_ = std::move(on_claimed);
  if (late.count() == 0) return ClaimNow();
  claim_timer_.Start(late, [this] {
    if (const Failure failure = ClaimNow()) {
      LOG(ERROR) << *failure;
      loop_.Quit(kExitFailure);
    }
  });
  return std::nullopt;
}

void BusPeer::Send(sd_bus_message* message) {
  const int result = sd_bus_send(bus_.get(), message, nullptr);
  if (result < 0) LOG(ERROR) << "Can't send: " << platform::SystemErrorText(-result);
  sd_bus_message_unref(message);
}

Failure BusPeer::ClaimNow() {
  const int result = sd_bus_request_name(bus_.get(), name_.c_str(), 0);
  if (Failure failure = BusFailure(result, "Can't claim the name " + name_)) return failure;
  has_name_ = true;
  on_claimed_();
  return std::nullopt;
}

}  // namespace orvane::testbed
