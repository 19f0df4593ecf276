#ifndef PLATFORM_NETLINK_NETLINK_MANAGER_H_
#define PLATFORM_NETLINK_NETLINK_MANAGER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_connection.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/weak_ptr.h"

namespace orvane::platform {

// Sends requests to generic netlink families. A request is sent at once, and a connection has one
// request at a time, so a dump never waits for another one. See NetlinkConnection for the deadline
// and the end of a request.
//
// Handlers may send requests, destroy their owner, stop the manager, and destroy the manager unless
// it is the process-wide one. They never run inside Send.
class NetlinkManager {
 public:
  // With a silent kernel, a request holds its connection for NetlinkConnection::kResponseDeadline,
  // so two interfaces that are polled every second need ten connections. The rest is reserve.
  static constexpr std::size_t kMaxConnections = 32;

  // Returns the process-wide manager. It uses the real kernel unless SetKernel replaces it. Never
  // null.
  static NetlinkManager* GetInstance();

  // `kernel` must outlive the manager, unless SetKernel replaces it.
  explicit NetlinkManager(NetlinkKernel& kernel);
  NetlinkManager(const NetlinkManager&) = delete;
  NetlinkManager& operator=(const NetlinkManager&) = delete;
  // Drops pending requests without calling their handlers, like Stop.
  ~NetlinkManager();

  // Replaces the kernel. Must be called before Start.
  void SetKernel(NetlinkKernel& kernel);

  // Returns the id of a family, which is the message type of its requests and replies. Logs a line
  // and returns 0 if the kernel has no such family or does not answer. Blocks for up to
  // kFamilyDeadline (netlink_family.h).
  std::uint16_t GetFamily(const std::string& name);

  // The message type of nl80211 requests. 0 until it is set, or if the kernel has no nl80211.
  void SetNl80211MessageType(std::uint16_t type) { nl80211_message_type_ = type; }
  std::uint16_t nl80211_message_type() const { return nl80211_message_type_; }

  // Reads replies on `loop`. Stop or destroy the manager before the loop is destroyed.
  void Start(Loop& loop);

  // Stops using the loop, closes all connections and drops pending requests without calling their
  // handlers.
  void Stop();

  // Sends a request. Must be called between Start and Stop. If the request can't be sent (the
  // message type is 0, kMaxConnections are busy, or a system call fails), the auxiliary handler is
  // called from the loop with an error.
  void Send(const GenericNetlinkRequest& request, NetlinkHandlers handlers);

  // Returns the kernel's index of a network interface, or 0 if there is none of that name.
  std::uint32_t GetInterfaceIndex(const std::string& name) const {
    return kernel_->GetInterfaceIndex(name);
  }

 private:
  std::unique_ptr<NetlinkSocket> OpenSocket();
  // Returns an idle connection. Logs a line and returns null if there is none and none can be
  // opened.
  NetlinkConnection* FindConnection();
  NetlinkConnection* OpenConnection();
  std::uint32_t NextSequence();

  NetlinkKernel* kernel_;
  Loop* loop_ = nullptr;
  std::uint16_t nl80211_message_type_ = 0;
  std::uint32_t last_sequence_ = 0;
  std::vector<std::unique_ptr<NetlinkConnection>> connections_;
  WeakPtrFactory<NetlinkManager> weak_ptr_factory_{this};
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_MANAGER_H_
