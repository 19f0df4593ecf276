#include "bridge/nl80211_monitor.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <span>
#include <utility>

#include "platform/logging.h"

namespace orvane::bridge {
namespace {

using platform::GenericNetlinkMessage;
using platform::GenericNetlinkRequest;
using platform::NetlinkMessage;
using platform::ReceiveResult;
using platform::ReceiveStatus;

// Larger than any datagram of the kernel.
constexpr std::size_t kBufferSize = 64 * 1024;

constexpr const char* kGroups[] = {NL80211_MULTICAST_GROUP_CONFIG, NL80211_MULTICAST_GROUP_MLME};

}  // namespace

Nl80211Monitor::Nl80211Monitor(platform::Loop& loop,
                               std::unique_ptr<platform::NetlinkKernel> kernel,
                               ReadyCallback on_ready)
    : loop_(loop),
      kernel_(std::move(kernel)),
      on_ready_(std::move(on_ready)),
      buffer_(kBufferSize) {}

bool Nl80211Monitor::Open() {
  if (watch_ == nullptr) {
    questions_ = kernel_->OpenSocket();
    events_ = kernel_->OpenSocket();
    if (questions_ == nullptr || events_ == nullptr) return false;
  }
  // A reload of the driver changes the family's id and ends the memberships.
  const auto family = FindFamily();
  family_id_ = 0;
  errno = ENOENT;  // unless JoinGroups sets another
  if (!family.has_value() || !JoinGroups(*family)) return false;
  if (watch_ == nullptr) watch_ = loop_.WatchReadable(events_->fd(), this);
  CHECK(watch_ != nullptr);
  family_id_ = family->id;
  return true;
}

std::optional<MulticastFamily> Nl80211Monitor::FindFamily() {
  GenericNetlinkRequest request(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  request.attributes().SetStringAttributeValue(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
  std::optional<MulticastFamily> family;
  Ask(&request, [&](const GenericNetlinkMessage& message) {
    if (auto parsed = ParseMulticastFamily(message)) family = *std::move(parsed);
  });
  return family;
}

bool Nl80211Monitor::JoinGroups(const MulticastFamily& family) {
  for (const char* name : kGroups) {
    const auto group = family.groups.find(name);
    if (group == family.groups.end() || !events_->JoinGroup(group->second)) return false;
  }
  return true;
}

void Nl80211Monitor::ReadAll(const EventCallback& on_event) {
  if (watch_ == nullptr) return;
  while (ReadOne(on_event)) {
  }
}

bool Nl80211Monitor::ReadOne(const EventCallback& on_event) {
  const ReceiveResult result = events_->Receive(buffer_);
  switch (result.status) {
    case ReceiveStatus::kDatagram:
      OnDatagram(result.length, on_event);
      return true;
    case ReceiveStatus::kIgnored:
      return true;
    case ReceiveStatus::kTruncated:
    case ReceiveStatus::kLost:
      ++loss_count_;
      return true;
    case ReceiveStatus::kNothing:
      return false;
    case ReceiveStatus::kFailed:
      ++loss_count_;
      break;
  }
  PLOG(ERROR) << "Failed to read what nl80211 reports";
  watch_.reset();
  family_id_ = 0;
  return false;
}

void Nl80211Monitor::OnDatagram(std::size_t length, const EventCallback& on_event) {
  std::span<const std::uint8_t> rest(buffer_.data(), length);
  while (const auto message = NetlinkMessage::TakeFrom(&rest)) {
    ++message_count_;
    if (message->type() != family_id_) continue;
    const auto generic = GenericNetlinkMessage::From(*message);
    if (!generic.has_value()) continue;
    if (const auto event = ParseNl80211Event(*generic)) on_event(*event);
  }
}

StationInfo Nl80211Monitor::ReadStation(std::uint32_t interface_index,
                                        const ap::MacAddress& station) {
  StationInfo info;
  if (family_id_ == 0 || interface_index == 0) return info;
  GenericNetlinkRequest request(family_id_, NL80211_CMD_GET_STATION);
  request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, interface_index);
  request.attributes().SetRawAttributeValue(NL80211_ATTR_MAC, station.ToByteString());
  Ask(&request, [&](const GenericNetlinkMessage& message) {
    const platform::AttributeList& attributes = *message.const_attributes();
    info = ReadStationInfo(platform::AttributeList(attributes.Find(NL80211_ATTR_STA_INFO)));
  });
  return info;
}

// Reads until the acknowledgement. Replies to earlier requests have other sequence numbers.
void Nl80211Monitor::Ask(GenericNetlinkRequest* request, const ReplyCallback& on_reply) {
  request->SetSender(questions_->port(), ++sequence_);
  if (!questions_->Send(request->bytes())) return;
  std::vector<std::uint8_t> buffer(kBufferSize);
  for (;;) {
    const ReceiveResult result = questions_->Receive(buffer);
    if (result.status == ReceiveStatus::kNothing || result.status == ReceiveStatus::kFailed) return;
    if (result.status != ReceiveStatus::kDatagram) continue;
    std::span<const std::uint8_t> rest(buffer.data(), result.length);
    while (const auto message = NetlinkMessage::TakeFrom(&rest)) {
      if (message->sequence() != sequence_) continue;
      if (message->IsError()) return;
      if (message->type() != request->message_type()) continue;
      if (const auto generic = GenericNetlinkMessage::From(*message)) on_reply(*generic);
    }
  }
}

std::uint32_t Nl80211Monitor::InterfaceIndex(const std::string& name) {
  return kernel_->GetInterfaceIndex(name);
}

}  // namespace orvane::bridge
