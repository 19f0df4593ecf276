#ifndef BENCH_STEER_UNDER_DUMP_H_
#define BENCH_STEER_UNDER_DUMP_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_loop.h"
#include "optimizer/client_steer.h"
#include "optimizer/hostapd_interface.h"
#include "platform/netlink/netlink_manager.h"

namespace orvane::bench {

using Datagram = std::vector<std::uint8_t>;

// The size limit of the parts of a dump: the kernel's, once it has seen a large buffer.
inline constexpr std::size_t kPartSize = 32 * 1024;

// The steering service in the middle of an endless dump, on a kernel with prepared answers.
class SteerUnderDump {
 public:
  SteerUnderDump();
  ~SteerUnderDump();

  // Returns the parts of a dump of `stations`, not in the order of their addresses.
  std::vector<Datagram> MakeDump(std::size_t stations) const;

  // Receives the parts and decides about each station.
  void Take(const std::vector<Datagram>& parts);

 private:
  class ReadyKernel;

  BenchLoop loop_;
  std::unique_ptr<ReadyKernel> kernel_;
  platform::NetlinkManager manager_;
  ap::HostapdInterface hostapd_{loop_};
  ap::ClientSteer steer_;
};

}  // namespace orvane::bench

#endif  // BENCH_STEER_UNDER_DUMP_H_
