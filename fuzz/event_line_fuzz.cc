// From hostapd's lines to the serialised record. The input is lines, each of them a datagram.

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "event.pb.h"
#include "fuzz/fuzz_target.h"
#include "optimizer/event_uploader.h"
#include "optimizer/hostapd_event.h"
#include "optimizer/hostapd_interface.h"
#include "optimizer/station_id_generator.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "platform/time.h"
#include "testbed/fake_recorder.h"

namespace orvane {
namespace {

using access_infrastructure::proto::Event;

constexpr platform::TimeSpan kPeriod = std::chrono::seconds(1);

// Parses the records, like their receiver.
class Recorder : public testbed::FakeRecorder {
 public:
  bool RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder /*error*/,
                         int /*timeout_ms*/) override {
    CHECK(data_type == "type." WAVELARK_TYPE_URL_DOMAIN "/access_infrastructure.proto.Event");
    Event event;
    CHECK(event.ParseFromArray(data.data(), static_cast<int>(data.size())));
    CHECK(event.interface() == access_infrastructure::proto::WLAN_2400MHZ);
    for (const auto& info : event.client_event_info()) CheckId(info.client_shmac());
    for (const auto& probe : event.client_probe_request_info()) CheckId(probe.client_shmac());
    entries_ += event.client_event_info_size() + event.client_probe_request_info_size();
    return true;
  }

  int entries() const { return entries_; }

 private:
  // The field must contain an identifier, never an address.
  static void CheckId(const std::string& id) {
    CHECK(id.empty() ||
          (id.size() == 64 && id.find_first_not_of("0123456789ABCDEF") == std::string::npos))
        << id;
  }

  int entries_ = 0;
  std::string path_ = "/";
};

// Reads the salt once, from an anonymous file.
ap::StationIdGenerator MakeStationIds() {
  constexpr std::string_view kSalt = "a salt";
  const platform::ScopedFd salt_file(memfd_create("salt", MFD_CLOEXEC));
  CHECK(write(salt_file.get(), kSalt.data(), kSalt.size()) == std::ssize(kSalt));
  return ap::StationIdGenerator(fmt::format("/proc/self/fd/{}", salt_file.get()));
}

const ap::StationIdGenerator& StationIds() {
  static const ap::StationIdGenerator ids = MakeStationIds();
  return ids;
}

// An invalid number ends the daemon by design, with the exception of the conversion. No other
// exception is allowed.
bool IsByDesign(const std::exception& exception) {
  const std::string_view text = exception.what();
  return text == "stoi" || text == "stoll";
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  platform::ManualLoop loop;
  Recorder recorder;
  ap::HostapdInterface hostapd(loop, "/nowhere");
  ap::EventUploader uploader(loop, &recorder, StationIds());
  uploader.Initialize(kPeriod, &hostapd);
  uploader.Enable();
  uploader.OnFlagChanged("connectionEventsProbeReqUpload", "1");

  ap::HostapdEventParser parser;
  int events = 0;
  try {
    for (fuzz::Input input(bytes); !input.IsEmpty();) {
      parser.Parse(input.TakeUntil('\n'), [&](ap::HostapdEventType kind, std::string_view mac,
                                              ap::HostapdAttributes attributes) {
        ++events;
        uploader.EventCallback("wlan-2400mhz", kind, mac, attributes);
      });
    }
  } catch (const std::logic_error& exception) {
    if (!IsByDesign(exception)) throw;
    return;
  }
  loop.AdvanceBy(kPeriod);
  CHECK(recorder.entries() <= events);
}

}  // namespace orvane
