#include "platform/netlink/netlink_manager.h"

#include <algorithm>
#include <utility>

#include "platform/logging.h"
#include "platform/netlink/netlink_family.h"

namespace orvane::platform {

NetlinkManager* NetlinkManager::GetInstance() {
  static NetlinkKernel kernel;
  // Never destroyed: objects that live longer than main may still point to it.
  static auto* const instance = new NetlinkManager(kernel);
  return instance;
}

NetlinkManager::NetlinkManager(NetlinkKernel& kernel) : kernel_(&kernel) {}

NetlinkManager::~NetlinkManager() { Stop(); }

void NetlinkManager::SetKernel(NetlinkKernel& kernel) {
  CHECK(loop_ == nullptr);
  kernel_ = &kernel;
}

std::uint16_t NetlinkManager::GetFamily(const std::string& name) {
  const std::unique_ptr<NetlinkSocket> socket = OpenSocket();
  const std::uint16_t id = socket == nullptr ? 0 : ResolveFamily(*socket, name);
  if (id == 0) LOG(WARNING) << "Unknown netlink family: " << name;
  return id;
}

void NetlinkManager::Start(Loop& loop) {
  Stop();
  loop_ = &loop;
}

void NetlinkManager::Stop() {
  loop_ = nullptr;
  weak_ptr_factory_.InvalidateWeakPtrs();
  std::exchange(connections_, {}).clear();
}

void NetlinkManager::Send(const GenericNetlinkRequest& request, NetlinkHandlers handlers) {
  CHECK(loop_ != nullptr) << "No loop to wait for the reply on";
  // Type 0 is an unknown family. The kernel would treat the message as a control message.
  NetlinkConnection* const connection = request.message_type() == 0 ? nullptr : FindConnection();
  if (connection != nullptr && connection->Send(request, NextSequence(), &handlers)) return;
  loop_->PostTask([weak = weak_ptr_factory_.GetWeakPtr(), fail = std::move(handlers.on_auxiliary)] {
    if (weak) fail(AuxiliaryKind::kKernelError, nullptr);
  });
}

NetlinkConnection* NetlinkManager::FindConnection() {
  // Keeps only the first idle connection: a burst of requests leaves many.
  bool has_idle = false;
  std::erase_if(connections_, [&has_idle](const auto& connection) {
    return !connection->IsOpen() || (connection->IsIdle() && std::exchange(has_idle, true));
  });
  const auto idle = std::ranges::find_if(connections_, &NetlinkConnection::IsIdle,
                                         &std::unique_ptr<NetlinkConnection>::operator*);
  if (idle != connections_.end()) return idle->get();
  if (connections_.size() < kMaxConnections) return OpenConnection();
  LOG(WARNING) << "Too many netlink requests are under way";
  return nullptr;
}

NetlinkConnection* NetlinkManager::OpenConnection() {
  std::unique_ptr<NetlinkSocket> socket = OpenSocket();
  if (socket == nullptr) return nullptr;
  auto connection = std::make_unique<NetlinkConnection>(*loop_, std::move(socket));
  if (!connection->IsOpen()) return nullptr;
  return connections_.emplace_back(std::move(connection)).get();
}

std::unique_ptr<NetlinkSocket> NetlinkManager::OpenSocket() {
  std::unique_ptr<NetlinkSocket> socket = kernel_->OpenSocket();
  if (socket == nullptr) PLOG(ERROR) << "Failed to open a netlink socket";
  return socket;
}

// Skips 0: messages of the kernel that answer no request have it.
std::uint32_t NetlinkManager::NextSequence() {
  if (++last_sequence_ == 0) ++last_sequence_;
  return last_sequence_;
}

}  // namespace orvane::platform
