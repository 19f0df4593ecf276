#ifndef OPTIMIZER_EVENT_UPLOADER_H_
#define OPTIMIZER_EVENT_UPLOADER_H_

#include <google/protobuf/arena.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "dbus_proxies/manager_proxy_interface.h"
#include "optimizer/hostapd_event.h"
#include "optimizer/hostapd_interface.h"
#include "optimizer/service.h"
#include "optimizer/station_id_generator.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"
#include "proto/event.pb.h"

namespace orvane::ap {

// Collects station events, one batch per access-point interface, and hands the batches to the
// metrics recorder one upload period after the first event. A batch that the recorder does not
// accept is lost.
//
// While the service is off it collects no events, but still uploads those it has. Destroying it
// drops them.
class EventUploader : public Service {
 public:
  // The loop and the recorder must outlive the uploader.
  EventUploader(platform::Loop& loop, org::velmora::ap::Quillary::ManagerProxyInterface* recorder,
                StationIdGenerator station_ids = StationIdGenerator());

  // Registers with `event_source`, which may outlive the uploader.
  void Initialize(platform::TimeSpan upload_period, HostapdInterface* event_source);

  // "connectionEventsUpload" switches the collection of connection events, which is on at first.
  // "connectionEventsProbeReqUpload" switches the collection of probe requests, which is off at
  // first. The value is a decimal number: 0 is off, any other number is on. A non-numeric value
  // throws the exception of std::stoi.
  void OnFlagChanged(std::string key, std::string value) override;
  void OnStart() override;
  void OnStop() override;

  // Collects one event; see HostapdInterface::EventCallback. Throws the exception of std::stoi if a
  // numeric attribute is not a number.
  void EventCallback(std::string_view interface_name, HostapdEventType kind, std::string_view mac,
                     HostapdAttributes attributes);

 private:
  using Event = access_infrastructure::proto::Event;
  using ClientEventType = access_infrastructure::proto::ClientEventInfo::ClientEventType;

  // A batch can have thousands of small objects, which are destroyed together.
  struct Batch {
    google::protobuf::Arena arena;
    Event* event = google::protobuf::Arena::CreateMessage<Event>(&arena);
  };

  // Returns the record of the interface, and creates its batch if there is none.
  Event* GetEventForInterface(std::string_view interface_name);

  void AddClientEvent(ClientEventType type, std::string_view mac, HostapdAttributes attributes,
                      Event* event);
  void AddProbeRequest(std::string_view mac, HostapdAttributes attributes, Event* event);
  void StartUploadTimer();
  void UploadEvents();
  void RecordEvent(const std::string& type_url, const Event& event);

  platform::Loop& loop_;
  // By interface name. Entries are never removed; an entry is null between batches.
  std::map<std::string, std::unique_ptr<Batch>, std::less<>> pending_events_;
  StationIdGenerator station_ids_;
  org::velmora::ap::Quillary::ManagerProxyInterface* recorder_;
  platform::TimeSpan upload_period_{};
  platform::OneShotTimer upload_timer_;
  bool upload_enabled_ = false;
  bool connection_event_upload_ = true;
  bool probe_request_upload_ = false;
  platform::WeakPtrFactory<EventUploader> weak_factory_{this};
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_EVENT_UPLOADER_H_
