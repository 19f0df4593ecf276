#include "optimizer/event_uploader.h"

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "common/interface_names.h"
#include "common/run_time_flags.h"
#include "optimizer/event_attributes.h"
#include "platform/error.h"
#include "platform/logging.h"

namespace orvane::ap {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using access_infrastructure::proto::WifiInterface;
using org::velmora::ap::Quillary::ManagerProxyInterface;

constexpr char kTypeUrlPrefix[] = "type." WAVELARK_TYPE_URL_DOMAIN "/";

struct EventTypeRow {
  HostapdEventType kind;
  ClientEventInfo::ClientEventType type;
};

// The parser reports an association response as kStationAuthResponse, so it is recorded as
// AUTHENTICATE. The parser never returns kStationAssocResp.
constexpr auto kEventTypes = std::to_array<EventTypeRow>({
    {HostapdEventType::kStationAuth, ClientEventInfo::AUTHENTICATE},
    {HostapdEventType::kStationAuthResponse, ClientEventInfo::AUTHENTICATE},
    {HostapdEventType::kStationAssoc, ClientEventInfo::ASSOCIATE},
    {HostapdEventType::kStationAssocResp, ClientEventInfo::ASSOCIATE},
    {HostapdEventType::kStationConnect, ClientEventInfo::CONNECT},
    {HostapdEventType::kStationDisconnect, ClientEventInfo::DISCONNECT},
});

struct InterfaceRow {
  std::string_view name;
  WifiInterface interface;
};

constexpr auto kInterfaces = std::to_array<InterfaceRow>({
    {kWlan2400MhzInterface, WifiInterface::WLAN_2400MHZ},
    {kWlan5000MhzInterface, WifiInterface::WLAN_5000MHZ},
    {kGuest2400MhzInterface, WifiInterface::GUEST_2400MHZ},
    {kGuest5000MhzInterface, WifiInterface::GUEST_5000MHZ},
});

// Returns nothing for a kind that is not a connection event.
std::optional<ClientEventInfo::ClientEventType> EventTypeOf(HostapdEventType kind) {
  const auto* const row = std::ranges::find(kEventTypes, kind, &EventTypeRow::kind);
  if (row == kEventTypes.end()) return std::nullopt;
  return row->type;
}

WifiInterface InterfaceOf(std::string_view name) {
  const auto* const row = std::ranges::find(kInterfaces, name, &InterfaceRow::name);
  return row == kInterfaces.end() ? WifiInterface::UNKNOWN : row->interface;
}

std::uint64_t MillisecondsSinceEpoch(platform::WallTime time) {
  const auto span = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  return static_cast<std::uint64_t>(span.count());
}

// Unlike DebugString(), the text is the same in every process and release of protobuf.
std::string TextOf(const google::protobuf::Message& message) {
  std::string text;
  google::protobuf::TextFormat::PrintToString(message, &text);
  return text;
}

}  // namespace

EventUploader::EventUploader(platform::Loop& loop, ManagerProxyInterface* recorder,
                             StationIdGenerator station_ids)
    : Service(kConnectionEventsFlag),
      loop_(loop),
      station_ids_(std::move(station_ids)),
      recorder_(recorder),
      upload_timer_(loop) {}

void EventUploader::Initialize(platform::TimeSpan upload_period, HostapdInterface* event_source) {
  upload_period_ = upload_period;
  event_source->AddEventCallback(
      platform::BindWeak(weak_factory_.GetWeakPtr(), &EventUploader::EventCallback));
}

void EventUploader::OnFlagChanged(std::string key, std::string value) {
  using Switch = bool EventUploader::*;
  struct SwitchRow {
    std::string_view key;
    Switch value;
    std::string_view log_text;
  };
  static constexpr auto kSwitches = std::to_array<SwitchRow>({
      {kConnectionEventsUploadFlag, &EventUploader::connection_event_upload_,
       "Set connection_event_upload to "},
      {kConnectionEventsProbeReqUploadFlag, &EventUploader::probe_request_upload_,
       "Set probe_req_event_upload to "},
  });
  for (const SwitchRow& row : kSwitches) {
    if (row.key != key) continue;
    this->*row.value = std::stoi(value) != 0;
    LOG(INFO) << row.log_text << (this->*row.value ? 1 : 0);
  }
}

void EventUploader::OnStart() {
  LOG(INFO) << " Connection event upload enabled ";
  upload_enabled_ = true;
}

void EventUploader::OnStop() {
  LOG(INFO) << " Connection event upload disabled ";
  upload_enabled_ = false;
}

void EventUploader::EventCallback(std::string_view interface_name, HostapdEventType kind,
                                  std::string_view mac, HostapdAttributes attributes) {
  if (!upload_enabled_) return;
  VLOG(1) << "EventCallback: " << interface_name << " event: " << HostapdEventTypeName(kind)
          << " mac: " << mac;
  if (const auto type = EventTypeOf(kind); type.has_value()) {
    if (!connection_event_upload_) return;
    AddClientEvent(*type, mac, attributes, GetEventForInterface(interface_name));
  } else if (kind == HostapdEventType::kStationMonitorInfo) {
    if (!probe_request_upload_) return;
    AddProbeRequest(mac, attributes, GetEventForInterface(interface_name));
  } else {
    return;
  }
  StartUploadTimer();
}

EventUploader::Event* EventUploader::GetEventForInterface(std::string_view interface_name) {
  auto entry = pending_events_.find(interface_name);
  if (entry == pending_events_.end()) {
    entry = pending_events_.try_emplace(std::string(interface_name)).first;
  }
  std::unique_ptr<Batch>& batch = entry->second;
  if (batch == nullptr) {
    batch = std::make_unique<Batch>();
    batch->event->set_interface(InterfaceOf(interface_name));
  }
  return batch->event;
}

void EventUploader::AddClientEvent(ClientEventType type, std::string_view mac,
                                   HostapdAttributes attributes, Event* event) {
  ClientEventInfo* info = event->add_client_event_info();
  info->set_event_type(type);
  info->set_event_time_in_milliseconds(MillisecondsSinceEpoch(loop_.Now()));
  ApplyEventAttribute({.name = "client_mac", .value = mac}, &station_ids_, info);
  ApplyEventAttributes(attributes, &station_ids_, info);
}

void EventUploader::AddProbeRequest(std::string_view mac, HostapdAttributes attributes,
                                    Event* event) {
  std::string id;
  if (!station_ids_.GenerateIdFromText(mac, &id)) return;
  ClientProbeRequestInfo* probe = event->add_client_probe_request_info();
  probe->set_client_shmac(std::move(id));
  probe->mutable_client_capability();
  ApplyProbeAttributes(attributes, probe);
}

void EventUploader::StartUploadTimer() {
  if (upload_timer_.IsRunning()) return;
  upload_timer_.Start(upload_period_,
                      platform::BindWeak(weak_factory_.GetWeakPtr(), &EventUploader::UploadEvents));
}

void EventUploader::UploadEvents() {
  for (auto& [interface_name, batch] : pending_events_) {
    if (batch == nullptr) continue;
    const Event& event = *batch->event;
    RecordEvent(kTypeUrlPrefix + event.GetDescriptor()->full_name(), event);
    VLOG(1) << "Upload Event:'<begin>'\n" << TextOf(event) << "'<end>'\n";
    batch.reset();
  }
}

void EventUploader::RecordEvent(const std::string& type_url, const Event& event) {
  std::string bytes;
  if (!event.SerializeToString(&bytes)) {
    LOG(WARNING) << "Error serializing proto: " << type_url;
    return;
  }
  const ManagerProxyInterface::Bytes data(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                          bytes.size());
  std::unique_ptr<platform::Error> error;
  if (!recorder_->RecordOfflineData(type_url, data, &error,
                                    ManagerProxyInterface::kDefaultTimeout)) {
    LOG(WARNING) << "Error recording offline data: " << type_url << ": "
                 << (error != nullptr ? error->message() : "");
  }
}

}  // namespace orvane::ap
