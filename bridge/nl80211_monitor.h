#ifndef BRIDGE_NL80211_MONITOR_H_
#define BRIDGE_NL80211_MONITOR_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge/multicast_family.h"
#include "bridge/nl80211_event.h"
#include "bridge/station_info.h"
#include "common/mac_address.h"
#include "platform/loop.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_message.h"
#include "platform/netlink/netlink_socket.h"

namespace orvane::bridge {

// Receives nl80211's multicast messages about all interfaces, and requests the state of stations.
//
// Requests use a socket of their own and are answered at once: the kernel handles a request during
// the send.
class Nl80211Monitor : private platform::FdWatcher {
 public:
  // Runs when messages can be read.
  using ReadyCallback = std::function<void()>;
  using EventCallback = std::function<void(const Nl80211Event& event)>;

  // The loop must outlive the monitor.
  Nl80211Monitor(platform::Loop& loop, std::unique_ptr<platform::NetlinkKernel> kernel,
                 ReadyCallback on_ready);
  Nl80211Monitor(const Nl80211Monitor&) = delete;
  Nl80211Monitor& operator=(const Nl80211Monitor&) = delete;

  // Joins the multicast groups of the current driver. Returns false, with errno set, if the kernel
  // has no nl80211 now.
  bool Open();

  // Returns whether the last Open has succeeded and no failure has occurred since.
  bool is_open() const { return family_id_ != 0; }

  // Reads all pending messages.
  void ReadAll(const EventCallback& on_event);

  // Returns the kernel's information about a station; empty if the kernel does not know it.
  StationInfo ReadStation(std::uint32_t interface_index, const ap::MacAddress& station);

  // Returns the index of a network interface by its name or an alternative name; 0 if there is
  // none.
  std::uint32_t InterfaceIndex(const std::string& name);

  std::uint64_t message_count() const { return message_count_; }
  // How often the kernel dropped messages because the queue was full.
  std::uint64_t loss_count() const { return loss_count_; }

 private:
  using ReplyCallback = std::function<void(const platform::GenericNetlinkMessage& message)>;

  void OnReadReady(int /*fd*/) override { on_ready_(); }
  void OnWriteReady(int /*fd*/) override {}

  std::optional<MulticastFamily> FindFamily();
  bool JoinGroups(const MulticastFamily& family);
  bool ReadOne(const EventCallback& on_event);
  void OnDatagram(std::size_t length, const EventCallback& on_event);
  void Ask(platform::GenericNetlinkRequest* request, const ReplyCallback& on_reply);

  platform::Loop& loop_;
  std::unique_ptr<platform::NetlinkKernel> kernel_;
  // Null until Open has succeeded.
  std::unique_ptr<platform::NetlinkSocket> events_;
  std::unique_ptr<platform::NetlinkSocket> questions_;
  ReadyCallback on_ready_;
  std::uint16_t family_id_ = 0;  // 0 unless open
  std::uint32_t sequence_ = 0;
  std::unique_ptr<platform::FdWatch> watch_;
  std::vector<std::uint8_t> buffer_;
  std::uint64_t message_count_ = 0;
  std::uint64_t loss_count_ = 0;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_NL80211_MONITOR_H_
