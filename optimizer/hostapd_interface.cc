#include "optimizer/hostapd_interface.h"

#include <utility>

#include "common/interface_names.h"
#include "platform/logging.h"

namespace orvane::ap {
namespace {

constexpr char kOwnerTag[] = "wavelark";

}  // namespace

HostapdInterface::HostapdInterface(platform::Loop& loop, platform::FilePath control_directory)
    : loop_(loop), control_directory_(std::move(control_directory)) {}

HostapdInterface::~HostapdInterface() { Shutdown(); }

void HostapdInterface::Init() {
  for (const std::string name : kMainInterfaces) {
    auto callback = [this, name](HostapdEventType kind, std::string_view mac,
                                 HostapdAttributes attributes) {
      OnHostapdEvent(name, kind, mac, attributes);
    };
    std::unique_ptr<HostapdMonitor>& monitor = monitors_[name];
    monitor = std::make_unique<HostapdMonitorImpl>(loop_, std::make_unique<platform::Sockets>(),
                                                   std::move(callback), kOwnerTag,
                                                   control_directory_, name);
    monitor->Initialize();
  }
}

void HostapdInterface::AddEventCallback(EventCallback callback) {
  event_callbacks_.push_back(std::move(callback));
}

void HostapdInterface::SendCommand(const std::string& interface_name, const std::string& command) {
  VLOG(1) << interface_name << " Send Command : " << command;
  const auto found = monitors_.find(interface_name);
  if (found != monitors_.end()) found->second->SendCommand(command.data(), command.size());
}

void HostapdInterface::Shutdown() {
  event_callbacks_.clear();
  monitors_.clear();
}

void HostapdInterface::OnHostapdEvent(const std::string& interface_name, HostapdEventType kind,
                                      std::string_view mac, HostapdAttributes attributes) {
  VLOG(1) << "Callback: " << static_cast<int>(kind) << " mac: " << mac;
  for (const EventCallback& callback : event_callbacks_) {
    callback(interface_name, kind, mac, attributes);
  }
}

}  // namespace orvane::ap
