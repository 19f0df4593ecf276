#ifndef OPTIMIZER_OPTIMIZER_DAEMON_H_
#define OPTIMIZER_OPTIMIZER_DAEMON_H_

#include <cstdint>
#include <memory>
#include <string>

#include "dbus_proxies/flags_proxy.h"
#include "dbus_proxies/manager_proxy.h"
#include "optimizer/hostapd_interface.h"
#include "optimizer/optimizer_flags.h"
#include "optimizer/service.h"
#include "platform/bus/bus_service_daemon.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/weak_ptr.h"

namespace orvane::ap {

// Creates and owns all long-lived objects, in a fixed order, and passes the flags service's map to
// the services.
class OptimizerDaemon : public platform::bus::BusServiceDaemon {
 public:
  static constexpr char kServiceName[] = "org.velmora.ap.Wavelark";
  static constexpr char kObjectPath[] = "/org/velmora/ap/Wavelark";

  explicit OptimizerDaemon(const OptimizerFlags& flags);
  ~OptimizerDaemon() override;

 protected:
  // Returns 0 if the loop can run, otherwise the exit code.
  int OnInit() override;

 private:
  void StartNetlink();
  void CreateClientSteer();
  void CreateEventUploader();
  void FollowFlags();
  void OnFlagsPropertyChanged(org::velmora::ap::FlagsProxyInterface* proxy,
                              const std::string& property_name);

  HostapdInterface hostapd_interface_;
  // The process-wide instance; null before OnInit.
  platform::NetlinkManager* netlink_manager_ = nullptr;
  std::unique_ptr<org::velmora::ap::Quillary::ManagerProxy> recorder_proxy_;
  std::unique_ptr<org::velmora::ap::FlagsProxy> flags_proxy_;
  bool enable_connection_event_stats_;
  std::int32_t connection_event_upload_period_;  // seconds
  bool enable_client_steering_;
  std::int32_t client_steering_interval_;       // seconds
  std::int32_t client_steering_poll_interval_;  // seconds
  std::int32_t client_steering_root_lqm_floor_;
  std::int32_t client_steering_child_lqm_floor_;
  std::int32_t client_steering_lqm_hysteresis_;
  bool is_root_;
  ServiceList services_;
  platform::WeakPtrFactory<OptimizerDaemon> weak_ptr_factory_{this};
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_OPTIMIZER_DAEMON_H_
