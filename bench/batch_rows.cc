#include <systemd/sd-bus.h>

#include <memory>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/full_uploader.h"
#include "bench/rows.h"
#include "dbus_proxies/manager_proxy.h"
#include "platform/bus/connection.h"
#include "platform/logging.h"
#include "platform/sd_event_loop.h"
#include "proto/event.pb.h"
#include "testbed/bus_peer.h"
#include "testbed/child_process.h"
#include "testbed/private_bus.h"

namespace orvane::bench {
namespace {

using testbed::MustSucceed;
using Event = access_infrastructure::proto::Event;

constexpr std::size_t kEvents = 1000;
constexpr double kNanosecondsPerMicrosecond = 1000;
constexpr char kRecorderName[] = "org.velmora.ap.Quillary";
constexpr char kRecorderPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kRecorderInterface[] = "org.velmora.ap.Quillary.Manager";

std::unique_ptr<testbed::ChildProcess> StartRecorder() {
  auto recorder = testbed::StartProcess({SILENT_RECORDER_PATH});
  CHECK(recorder->out().WaitForLine("ready", std::chrono::seconds(10)).has_value());
  return recorder;
}

// Sends one method call with the batch and receives its reply.
void HandOver(sd_bus* bus, const std::string& type, const Event& event) {
  std::string bytes;
  CHECK(event.SerializeToString(&bytes));
  sd_bus_message* call = nullptr;
  MustSucceed(sd_bus_message_new_method_call(bus, &call, kRecorderName, kRecorderPath,
                                             kRecorderInterface, "RecordOfflineData"));
  MustSucceed(sd_bus_message_append_basic(call, SD_BUS_TYPE_STRING, type.c_str()));
  MustSucceed(sd_bus_message_append_array(call, SD_BUS_TYPE_BYTE, bytes.data(), bytes.size()));
  sd_bus_message* reply = nullptr;
  MustSucceed(sd_bus_call(bus, call, 0, nullptr, &reply));
  sd_bus_message_unref(reply);
  sd_bus_message_unref(call);
}

Measured MeasureBatch() {
  const std::vector<std::string> lines = EventLines(kEvents);
  const testbed::PrivateBus bus;
  const auto recorder_process = StartRecorder();

  platform::SdEventLoop loop;
  const auto connection = platform::bus::Connection::OpenSystemBus(loop, nullptr);
  CHECK(connection != nullptr);
  org::velmora::ap::Quillary::ManagerProxy recorder(connection, kRecorderName);
  FullUploader uploader(&recorder);
  const Piece ours = [&] {
    uploader.Take(lines);
    return CpuTimeOfWork([&] { uploader.Upload(); });
  };

  // Created for each run, as in our measurement: a batch in the cache would be different work.
  const testbed::FakeRecorder::Record record = RecordOf(lines);
  sd_bus* opened = nullptr;
  MustSucceed(sd_bus_open_system(&opened));
  const platform::bus::BusPtr floor_bus(opened);
  const Piece floor = [&] {
    Event event;
    CHECK(event.ParseFromString(record.bytes));
    return CpuTimeOfWork([&] { HandOver(floor_bus.get(), record.data_type, event); });
  };
  return Compare(ours, floor, kNanosecondsPerMicrosecond);
}

}  // namespace

std::vector<Row> BatchRows() {
  return {{.name = "batch_1000",
           .what = "serialising and handing over 1,000 events",
           .unit = "us",
           .goal = 1.5,
           .measure = MeasureBatch}};
}

}  // namespace orvane::bench
