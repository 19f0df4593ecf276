#include "platform/bus/property_set.h"

#include <utility>

#include "platform/bus/connection.h"
#include "platform/logging.h"

namespace orvane::platform::bus {
namespace {

constexpr char kBusName[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";

}  // namespace

PropertySet::PropertySet(ObjectProxy* object, std::string interface, ChangedCallback callback)
    : object_(object), interface_(std::move(interface)), callback_(std::move(callback)) {}

PropertySet::~PropertySet() = default;

void PropertySet::RegisterProperty(const std::string& name, PropertyBase* property) {
  properties_[name] = property;
}

void PropertySet::ConnectSignals() {
  const auto weak = weak_ptr_factory_.GetWeakPtr();
  owner_subscription_ = object_->connection()
                            .GetObjectProxy(kBusName, kBusPath)
                            ->Subscribe(kBusName, "NameOwnerChanged", object_->service(),
                                        BindWeak(weak, &PropertySet::OnOwnerChanged));
  change_subscription_ = object_->Subscribe(kPropertiesInterface, "PropertiesChanged", interface_,
                                            BindWeak(weak, &PropertySet::OnPropertiesChanged));
}

void PropertySet::GetAll() {
  MethodCall call = object_->NewMethodCall(kPropertiesInterface, "GetAll");
  call.writer().AppendString(interface_);
  pending_get_all_ =
      object_->CallAsync(std::move(call), kDefaultTimeoutMs,
                         BindWeak(weak_ptr_factory_.GetWeakPtr(), &PropertySet::OnGetAllReply));
}

void PropertySet::OnGetAllReply(sd_bus_message* reply, const Error* error) {
  if (error != nullptr) {
    LogFailure(error->code() + ": " + error->message());
    return;
  }
  if (sd_bus_message_has_signature(reply, "a{sv}") <= 0) {
    LogFailure("the reply is not a map of properties");
    return;
  }
  MessageReader reader(reply);
  UpdateAll(reader);
}

// The arguments are the name, its old owner and its new owner, which is empty if there is none.
void PropertySet::OnOwnerChanged(sd_bus_message* signal) {
  MessageReader reader(signal);
  reader.PopString();
  reader.PopString();
  if (!reader.PopString().value_or("").empty()) GetAll();
}

void PropertySet::OnPropertiesChanged(sd_bus_message* signal) {
  if (sd_bus_message_has_signature(signal, "sa{sv}as") <= 0) {
    LogFailure("a change signal has other arguments than it should");
    return;
  }
  MessageReader reader(signal);
  reader.PopString();  // the interface, which the subscription has matched
  if (UpdateAll(reader) && HasInvalidatedProperty(reader)) GetAll();
}

// Returns whether the set still exists: a callback may have destroyed it.
bool PropertySet::UpdateAll(MessageReader& reader) {
  const auto weak = weak_ptr_factory_.GetWeakPtr();
  const ReadScope properties(reader, SD_BUS_TYPE_ARRAY, "{sv}");
  while (weak && reader.HasMore()) {
    const ReadScope entry(reader, SD_BUS_TYPE_DICT_ENTRY, "sv");
    const auto name = reader.PopString();
    if (!name.has_value()) break;
    UpdateOne(std::string(*name), reader);
  }
  return static_cast<bool>(weak);
}

void PropertySet::UpdateOne(const std::string& name, MessageReader& reader) {
  const auto found = properties_.find(name);
  if (found == properties_.end()) return;
  if (!found->second->PopValue(reader)) {
    LogFailure("the value of " + name + " is malformed");
    return;
  }
  const ChangedCallback callback = callback_;  // a copy: the callback may destroy the set
  callback(name);
}

bool PropertySet::HasInvalidatedProperty(MessageReader& reader) const {
  const ReadScope names(reader, SD_BUS_TYPE_ARRAY, "s");
  while (const auto name = reader.PopString()) {
    if (properties_.contains(*name)) return true;
  }
  return false;
}

void PropertySet::LogFailure(const std::string& reason) const {
  LOG(WARNING) << "Failed to read the properties " << interface_ << " of " << object_->service()
               << " at " << object_->path() << ": " << reason;
}

}  // namespace orvane::platform::bus
