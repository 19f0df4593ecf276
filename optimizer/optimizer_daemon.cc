#include "optimizer/optimizer_daemon.h"

#include <utility>

#include "optimizer/event_uploader.h"
#include "platform/time.h"

namespace orvane::ap {
namespace {

constexpr char kRecorderServiceName[] = "org.velmora.ap.Quillary";
constexpr char kFlagsServiceName[] = "org.velmora.ap.Flags";

}  // namespace

OptimizerDaemon::OptimizerDaemon(const OptimizerFlags& flags)
    : BusServiceDaemon(kServiceName, kObjectPath),
      hostapd_interface_(loop()),
      enable_connection_event_stats_(flags.enable_connection_event_stats),
      connection_event_upload_period_(flags.connection_event_upload_period) {}

// Services go in the order in which they came, not in the one that a container happens to have.
OptimizerDaemon::~OptimizerDaemon() {
  weak_ptr_factory_.InvalidateWeakPtrs();
  while (!services_.empty()) services_.pop_front();
}

int OptimizerDaemon::OnInit() {
  if (const int exit_code = BusServiceDaemon::OnInit(); exit_code != 0) return exit_code;
  recorder_proxy_ =
      std::make_unique<org::velmora::ap::Quillary::ManagerProxy>(bus(), kRecorderServiceName);
  hostapd_interface_.Init();
  CreateEventUploader();
  FollowFlags();
  return 0;
}

void OptimizerDaemon::CreateEventUploader() {
  auto uploader = std::make_unique<EventUploader>(loop(), recorder_proxy_.get());
  uploader->Initialize(platform::SecondsToTimeSpan(connection_event_upload_period_),
                       &hostapd_interface_);
  services_.push_back(std::move(uploader));
  if (enable_connection_event_stats_) services_.back()->Enable();
}

void OptimizerDaemon::FollowFlags() {
  flags_proxy_ = std::make_unique<org::velmora::ap::FlagsProxy>(bus(), kFlagsServiceName);
  flags_proxy_->InitializeProperties(
      platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &OptimizerDaemon::OnFlagsPropertyChanged));
}

void OptimizerDaemon::OnFlagsPropertyChanged(org::velmora::ap::FlagsProxyInterface* proxy,
                                             const std::string& property_name) {
  if (property_name != "Flags") return;
  // A copy, since what a service does with a flag may lead to another reading.
  const FlagMap flags = proxy->flags();
  ApplyFlags(flags, services_);
}

}  // namespace orvane::ap
