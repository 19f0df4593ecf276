#include "optimizer/optimizer_daemon.h"

#include <linux/nl80211.h>

#include <utility>
#include <vector>

#include "common/interface_names.h"
#include "optimizer/client_steer.h"
#include "optimizer/event_uploader.h"
#include "platform/logging.h"
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
      connection_event_upload_period_(flags.connection_event_upload_period),
      enable_client_steering_(flags.enable_client_steering),
      client_steering_interval_(flags.client_steering_interval),
      client_steering_poll_interval_(flags.client_steering_poll_interval),
      client_steering_root_lqm_floor_(flags.client_steering_root_lqm_floor),
      client_steering_child_lqm_floor_(flags.client_steering_child_lqm_floor),
      client_steering_lqm_hysteresis_(flags.client_steering_lqm_hysteresis),
      is_root_(flags.is_root) {}

// Destroys the services in list order; the order in which a container destroys them is unspecified.
OptimizerDaemon::~OptimizerDaemon() {
  weak_ptr_factory_.InvalidateWeakPtrs();
  while (!services_.empty()) services_.pop_front();
  // The netlink manager is a singleton and outlives the loop, so it must stop using the loop here.
  if (netlink_manager_ != nullptr) netlink_manager_->Stop();
}

int OptimizerDaemon::OnInit() {
  if (const int exit_code = BusServiceDaemon::OnInit(); exit_code != 0) return exit_code;
  StartNetlink();
  recorder_proxy_ =
      std::make_unique<org::velmora::ap::Quillary::ManagerProxy>(bus(), kRecorderServiceName);
  hostapd_interface_.Init();
  CreateClientSteer();
  CreateEventUploader();
  FollowFlags();
  return 0;
}

// Without the nl80211 family the daemon still starts: events need only hostapd, and steering logs
// its own failures.
void OptimizerDaemon::StartNetlink() {
  netlink_manager_ = platform::NetlinkManager::GetInstance();
  CHECK(netlink_manager_) << "Unable to create NetlinkManager";
  netlink_manager_->SetNl80211MessageType(netlink_manager_->GetFamily(NL80211_GENL_NAME));
  netlink_manager_->Start(loop());
}

void OptimizerDaemon::CreateClientSteer() {
  // Floors and hysteresis are truncated to 8 bits; a larger number is not an error.
  const ClientSteerSettings settings = {
      .steer_interval = platform::SecondsToTimeSpan(client_steering_interval_),
      .poll_interval = platform::SecondsToTimeSpan(client_steering_poll_interval_),
      .lqm_hysteresis = static_cast<std::uint8_t>(client_steering_lqm_hysteresis_),
      .is_root = is_root_,
      .root_lqm_floor = static_cast<std::uint8_t>(client_steering_root_lqm_floor_),
      .child_lqm_floor = static_cast<std::uint8_t>(client_steering_child_lqm_floor_),
  };
  auto steer = std::make_unique<ClientSteer>(
      loop(), netlink_manager_,
      std::vector<std::string>(kMainInterfaces.begin(), kMainInterfaces.end()), &hostapd_interface_,
      settings);
  if (enable_client_steering_) steer->Enable();
  services_.push_back(std::move(steer));
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
  // Iterates over a copy, so that a flag's handler may replace the proxy's map.
  const FlagMap flags = proxy->flags();  // NOLINT(performance-unnecessary-copy-initialization)
  ApplyFlags(flags, services_);
}

}  // namespace orvane::ap
