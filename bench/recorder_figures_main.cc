// Measures the cost of the recorder: start and reply times, memory, and database size. It runs on a
// private bus, with records of 1,000 events.

#include <fmt/format.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "dbus_proxies/manager_proxy.h"
#include "platform/logging.h"
#include "proto/event.pb.h"
#include "testbed/child_process.h"
#include "testbed/private_bus.h"
#include "testbed/process_figures.h"
#include "testbed/temporary_directory.h"

namespace orvane {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::Event;
using org::velmora::ap::Quillary::ManagerProxy;
using Clock = std::chrono::steady_clock;

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr char kType[] = "/access_infrastructure.proto.Event";
constexpr int kRecords = 100;
constexpr int kEvents = 1000;

double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

std::string Batch(int number) {
  Event event;
  event.set_interface(access_infrastructure::proto::WLAN_5000MHZ);
  for (int i = 0; i < kEvents; ++i) {
    ClientEventInfo* info = event.add_client_event_info();
    info->set_client_shmac(fmt::format("{:064X}", i));
    info->set_event_time_in_milliseconds(1'700'000'000'000U + static_cast<unsigned>(number));
    info->set_event_type(ClientEventInfo::CONNECT);
    info->set_is_event_success(true);
    info->set_frame_status_code(0);
    info->set_average_rssi_in_dbm(-60);
    info->mutable_data_rate()->set_bitrate_kbps(866'700);
    info->mutable_data_rate()->set_mcs_index(7);
  }
  return event.SerializeAsString();
}

void Record(ManagerProxy& recorder, const std::string& data) {
  std::unique_ptr<platform::Error> error;
  CHECK(recorder.RecordOfflineData(
      kType, {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()}, &error, -1))
      << error->message();
}

void WaitForName(sd_bus* bus) {
  while (sd_bus_get_name_creds(bus, kName, 0, nullptr) < 0) {
  }
}

int Main(const std::string& program) {
  const testbed::PrivateBus private_bus;
  const testbed::TemporaryDirectory directory;
  const platform::FilePath database = directory.path() / "records.db";
  platform::SdEventLoop loop;
  const auto bus = platform::bus::Connection::OpenSystemBus(loop, nullptr);
  ManagerProxy proxy(bus, kName);

  const auto begin = Clock::now();
  std::string error;
  const auto recorder =
      testbed::ChildProcess::Start({program, "--database=" + database.native()}, {}, &error);
  CHECK(recorder != nullptr) << error;
  WaitForName(bus->bus());
  Record(proxy, Batch(0));
  fmt::print("from the start to the first reply: {:.1f} ms\n", MillisecondsSince(begin));

  std::vector<double> times;
  for (int i = 1; i <= kRecords; ++i) {
    const std::string batch = Batch(i);
    const auto sent = Clock::now();
    Record(proxy, batch);
    times.push_back(MillisecondsSince(sent));
  }
  std::ranges::sort(times);
  const testbed::ProcessFile status(recorder->pid(), "status");
  fmt::print("reply: p50 {:.2f} ms, p99 {:.2f} ms, longest {:.2f} ms\n", times[kRecords / 2 - 1],
             times[kRecords * 99 / 100 - 1], times.back());
  fmt::print("resident: {} kB, {} kB of them its own\n", status.Figure("VmRSS"),
             status.Figure("RssAnon"));
  recorder->Signal(SIGTERM);
  CHECK(recorder->WaitForExit(std::chrono::seconds(10)).has_value());
  fmt::print("an event: {:.0f} bytes sent, {:.0f} in the database\n",
             static_cast<double>(Batch(1).size()) / kEvents,
             static_cast<double>(std::filesystem::file_size(database)) / kEvents / (kRecords + 1));
  return 0;
}

}  // namespace
}  // namespace orvane

int main(int argc, char** argv) {
  if (argc == 2) return orvane::Main(argv[1]);
  fmt::print(stderr, "usage: recorder_figures AP-WAVELARK-RECORDER\n");
  return 64;
}
