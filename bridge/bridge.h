#ifndef BRIDGE_BRIDGE_H_
#define BRIDGE_BRIDGE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bridge/bridged_interface.h"
#include "bridge/counters.h"
#include "bridge/nl80211_monitor.h"
#include "bridge/options.h"
#include "bridge/station_tracker.h"
#include "platform/loop.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/one_shot_timer.h"

namespace orvane::bridge {

// All interfaces and their shared state: the kernel's messages, the recent steers and joins, and
// the counters.
class Bridge {
 public:
  // Interval between writes of the metrics file.
  static constexpr platform::TimeSpan kMetricsInterval = std::chrono::seconds(15);
  // Interval between checks of nl80211 and of the interfaces' indexes, after the first attachment.
  static constexpr platform::TimeSpan kKernelInterval = std::chrono::seconds(5);

  // Starts at once. The loop must outlive the bridge.
  Bridge(platform::Loop& loop, const Options& options,
         std::unique_ptr<platform::NetlinkKernel> kernel);
  Bridge(const Bridge&) = delete;
  Bridge& operator=(const Bridge&) = delete;
  // Writes the metrics once more.
  ~Bridge();

  Counters counters() const;
  void LogCounters() const;
  void WriteMetrics();

 private:
  struct Entry {
    std::uint32_t index = 0;  // the kernel's index; 0: unknown
    std::unique_ptr<BridgedInterface> interface;
  };

  void Add(platform::Loop& loop, const Options& options, const InterfaceNames& names);
  void OnHostapdUp(Entry* entry);
  void CheckKernel();
  void FindInterfaces();
  void ReadKernel();
  void OnKernelReady();
  void KeepWritingMetrics();

  platform::FilePath metrics_file_;
  SharedMemory shared_;
  Nl80211Monitor nl80211_;
  std::vector<std::unique_ptr<Entry>> entries_;
  platform::OneShotTimer kernel_timer_;
  platform::OneShotTimer metrics_timer_;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_BRIDGE_H_
