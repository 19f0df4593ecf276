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

// Sends requests to generic netlink families. Each request is sent at once over a connection of its
// own, so that a dump never waits for another one. Idle connections are reused. See
// NetlinkConnection for the deadline and the end of a request.
//
// Handlers may send requests, destroy their owner, and stop or destroy the manager (except the
// process-wide one). They never run inside Send.
class NetlinkManager {
 public:
  // A request to a silent kernel holds a connection for NetlinkConnection::kResponseDeadline. Two
  // interfaces that are polled every second hold ten.
  static constexpr std::size_t kMaxConnections = 32;

  // Returns the process-wide manager. It uses the real kernel unless SetKernel replaces it. Never
  // null.
  static NetlinkManager* GetInstance();

  // `kernel` must stay valid as long as the manager, or until SetKernel replaces it.
  explicit NetlinkManager(NetlinkKernel& kernel);
  NetlinkManager(const NetlinkManager&) = delete;
  NetlinkManager& operator=(const NetlinkManager&) = delete;
  // Drops pending requests without calling their handlers, like Stop.
  ~NetlinkManager();

  // Replaces the kernel. Must be called before Start.
  void SetKernel(NetlinkKernel& kernel);

  // Returns the id of a family, which is the message type of its requests and replies. Logs a line
  // and returns 0 if the kernel has no such family or does not answer. Blocks up to
  // kFamilyDeadline.
  std::uint16_t GetFamily(const std::string& name);

  // The message type of nl80211, for code that builds its requests. 0 until it is set.
  void SetNl80211MessageType(std::uint16_t type) { nl80211_message_type_ = type; }
  std::uint16_t nl80211_message_type() const { return nl80211_message_type_; }

  // Replies are read on `loop`, which must outlive the manager unless Stop is called.
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
