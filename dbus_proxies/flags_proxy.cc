#include "dbus_proxies/flags_proxy.h"

#include <utility>

#include "platform/logging.h"

namespace org::velmora::ap {
namespace {

namespace bus = orvane::platform::bus;

constexpr char kInterface[] = "org.velmora.ap.Flags";

}  // namespace

FlagsProxy::PropertySet::PropertySet(bus::ObjectProxy* object, ChangedCallback callback)
    : bus::PropertySet(object, kInterface, std::move(callback)) {
  RegisterProperty("Flags", &flags);
}

FlagsProxy::FlagsProxy(std::shared_ptr<bus::Connection> bus, std::string service_name)
    : bus_(std::move(bus)),
      service_name_(std::move(service_name)),
      object_proxy_(bus_->GetObjectProxy(service_name_, object_path_)) {}

FlagsProxy::~FlagsProxy() = default;

const std::map<std::string, std::string>& FlagsProxy::flags() const {
  CHECK(property_set_ != nullptr);
  return property_set_->flags.value();
}

void FlagsProxy::InitializeProperties(PropertyChangedCallback callback) {
  // This proxy owns the set, and the set owns the callback.
  property_set_ = std::make_unique<PropertySet>(
      object_proxy_,
      [this, callback = std::move(callback)](const std::string& name) { callback(this, name); });
  property_set_->ConnectSignals();
  property_set_->GetAll();
}

}  // namespace org::velmora::ap
