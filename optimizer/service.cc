#include "optimizer/service.h"

#include <string_view>

#include "common/run_time_flags.h"

namespace orvane::ap {
namespace {

// Any other value leaves the service unchanged.
void Switch(Service& service, std::string_view value) {
  if (value == kEnabledValue) service.Enable();
  if (value == kDisabledValue) service.Disable();
}

}  // namespace

void Service::Enable() {
  if (enabled_) return;
  enabled_ = true;
  OnStart();
}

void Service::Disable() {
  if (!enabled_) return;
  enabled_ = false;
  OnStop();
}

void ApplyFlags(const FlagMap& flags, const ServiceList& services) {
  for (const auto& [key, value] : flags) {
    for (const std::unique_ptr<Service>& service : services) {
      const std::string name = service->name();
      // Anywhere in the key, not only at its start: one key may address several services.
      if (key.find(name) == std::string::npos) continue;
      if (key == name) {
        Switch(*service, value);
      } else {
        service->OnFlagChanged(key, value);
      }
    }
  }
}

}  // namespace orvane::ap
