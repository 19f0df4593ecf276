#ifndef OPTIMIZER_HOSTAPD_INTERFACE_H_
#define OPTIMIZER_HOSTAPD_INTERFACE_H_

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "optimizer/hostapd_event.h"
#include "optimizer/hostapd_monitor.h"
#include "platform/files.h"
#include "platform/loop.h"

namespace orvane::ap {

// The daemon's only connection to hostapd: one monitor for each of the two main access-point
// interfaces. It sends commands by interface name and passes every event to every callback. The
// loop must outlive it.
class HostapdInterface {
 public:
  // Receives one event. The views are valid until the callback returns; see HostapdLineCallback.
  using EventCallback = std::function<void(const std::string& interface_name, HostapdEventType kind,
                                           std::string_view mac, HostapdAttributes attributes)>;

  static constexpr char kControlDirectory[] = "/var/run/hostapd";

  explicit HostapdInterface(platform::Loop& loop,
                            platform::FilePath control_directory = kControlDirectory);
  HostapdInterface(const HostapdInterface&) = delete;
  HostapdInterface& operator=(const HostapdInterface&) = delete;
  virtual ~HostapdInterface();

  // Creates and starts the monitors. Destroys existing ones, so a callback must not call this.
  void Init();

  // Callbacks run in order of registration. A callback that is added during an event also gets that
  // event. A single callback can't be removed, so bind it to a weak reference.
  void AddEventCallback(EventCallback callback);

  // Sends a command to the hostapd of the interface. A command for an interface that is not
  // monitored is dropped. Neither a failure nor hostapd's answer is reported.
  virtual void SendCommand(const std::string& interface_name, const std::string& command);

  // Removes all callbacks and destroys the monitors, which detach from hostapd. A callback must not
  // call this.
  void Shutdown();

 private:
  void OnHostapdEvent(const std::string& interface_name, HostapdEventType kind,
                      std::string_view mac, HostapdAttributes attributes);

  platform::Loop& loop_;
  platform::FilePath control_directory_;
  std::map<std::string, std::unique_ptr<HostapdMonitor>> monitors_;
  std::list<EventCallback> event_callbacks_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_HOSTAPD_INTERFACE_H_
