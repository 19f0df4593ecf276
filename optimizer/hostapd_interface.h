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

// The daemon's single way to hostapd: a monitor for each of the two main access-point interfaces,
// commands by interface name, and every event to every callback. The loop must outlive it.
class HostapdInterface {
 public:
  // One event. The views are valid until the callback returns; see HostapdLineCallback.
  using EventCallback = std::function<void(const std::string& interface_name, HostapdEventType kind,
                                           std::string_view mac, HostapdAttributes attributes)>;

  static constexpr char kControlDirectory[] = "/var/run/hostapd";

  explicit HostapdInterface(platform::Loop& loop,
                            platform::FilePath control_directory = kControlDirectory);
  HostapdInterface(const HostapdInterface&) = delete;
  HostapdInterface& operator=(const HostapdInterface&) = delete;
  virtual ~HostapdInterface();

  // Makes the monitors, in place of earlier ones, and starts them.
  void Init();

  // Callbacks run in the order in which they were added; one that is added by another runs for the
  // same event still. There is no way to remove one, so bind it to a weak reference.
  void AddEventCallback(EventCallback callback);

  // Sends a command to the hostapd of the interface. A command for an interface that is not
  // monitored is dropped; neither a failure nor hostapd's answer is reported.
  virtual void SendCommand(const std::string& interface_name, const std::string& command);

  // Forgets the callbacks and destroys the monitors, which detaches them. Not to be called by one
  // of the callbacks.
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
