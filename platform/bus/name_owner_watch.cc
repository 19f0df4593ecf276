#include "platform/bus/name_owner_watch.h"

#include <string_view>
#include <utility>

#include "platform/bus/connection.h"
#include "platform/logging.h"

namespace orvane::platform::bus {
namespace {

constexpr char kBusName[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

std::string_view SenderOf(sd_bus_message* message) {
  const char* sender = sd_bus_message_get_sender(message);
  return sender == nullptr ? "" : sender;
}

}  // namespace

NameOwnerWatch::NameOwnerWatch(Connection& connection, std::string name, OwnerCallback on_new_owner)
    : name_(std::move(name)), on_new_owner_(std::move(on_new_owner)) {
  const ObjectProxy* bus = connection.GetObjectProxy(kBusName, kBusPath);
  // First subscribe, then ask: a change in between is not missed.
  subscription_ = bus->Subscribe(kBusName, "NameOwnerChanged", name_,
                                 [this](sd_bus_message* signal) { OnOwnerChanged(signal); });
  MethodCall call = bus->NewMethodCall(kBusName, "GetNameOwner");
  call.writer().AppendString(name_);
  pending_get_owner_ = bus->CallAsync(
      std::move(call), kDefaultTimeoutMs,
      [this](sd_bus_message* reply, const Error* error) { OnOwnerReply(reply, error); });
}

bool NameOwnerWatch::IsFromOwner(sd_bus_message* message) const {
  return !owner_.empty() && SenderOf(message) == owner_;
}

void NameOwnerWatch::OnOwnerReply(sd_bus_message* reply, const Error* error) {
  if (error == nullptr) {
    owner_ = MessageReader(reply).PopString().value_or("");
  } else if (error->code() != SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
    LOG(WARNING) << "Failed to find the owner of " << name_ << ": " << error->message();
  }
}

void NameOwnerWatch::OnOwnerChanged(sd_bus_message* signal) {
  if (SenderOf(signal) != kBusName) return;
  MessageReader reader(signal);
  const auto name = reader.PopString();
  const auto old_owner = reader.PopString();
  const auto new_owner = reader.PopString();
  if (name != name_ || !old_owner.has_value() || !new_owner.has_value()) return;
  owner_ = *new_owner;
  if (owner_.empty()) return;
  const OwnerCallback callback = on_new_owner_;  // outlives this object if it destroys it
  callback();
}

}  // namespace orvane::platform::bus
