#include "testbed/nl80211_socket.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace orvane::testbed {
namespace {

int TakeFamilyId(const nlattr* attribute, void* data) {
  if (mnl_attr_get_type(attribute) == CTRL_ATTR_FAMILY_ID) {
    *static_cast<std::uint16_t*>(data) = mnl_attr_get_u16(attribute);
  }
  return MNL_CB_OK;
}

int TakeFamily(const nlmsghdr* reply, void* data) {
  return mnl_attr_parse(reply, GENL_HDRLEN, &TakeFamilyId, data);
}

}  // namespace

Failure Nl80211Socket::Open() {
  socket_.reset(mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC));
  if (socket_ == nullptr || mnl_socket_bind(socket_.get(), 0, MNL_SOCKET_AUTOPID) != 0) {
    return SystemFailure("netlink socket");
  }
  nlmsghdr* request = NewRequestOf(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, NLM_F_ACK);
  mnl_attr_put_strz(request, CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
  return Ask(request, &TakeFamily, &family_);
}

nlmsghdr* Nl80211Socket::NewRequest(std::uint8_t command, std::uint16_t flags) {
  return NewRequestOf(family_, command, flags);
}

Failure Nl80211Socket::Ask(const nlmsghdr* request, mnl_cb_t take, void* data) {
  if (mnl_socket_sendto(socket_.get(), request, request->nlmsg_len) < 0) {
    return SystemFailure("send to the kernel");
  }
  const unsigned port = mnl_socket_get_portid(socket_.get());
  int state = MNL_CB_OK;
  while (state > MNL_CB_STOP) {
    const ssize_t length = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
    if (length < 0) return SystemFailure("receive from the kernel");
    state =
        mnl_cb_run(buffer_.data(), static_cast<std::size_t>(length), sequence_, port, take, data);
  }
  return state == MNL_CB_ERROR ? SystemFailure("the kernel says no") : std::nullopt;
}

nlmsghdr* Nl80211Socket::NewRequestOf(std::uint16_t family, std::uint8_t command,
                                      std::uint16_t flags) {
  nlmsghdr* request = mnl_nlmsg_put_header(buffer_.data());
  request->nlmsg_type = family;
  request->nlmsg_flags = NLM_F_REQUEST | flags;
  request->nlmsg_seq = ++sequence_;
  auto* generic = static_cast<genlmsghdr*>(mnl_nlmsg_put_extra_header(request, GENL_HDRLEN));
  generic->cmd = command;
  return request;
}

}  // namespace orvane::testbed
