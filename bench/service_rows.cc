#include <signal.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/daemon.h"
#include "bench/full_uploader.h"
#include "bench/rows.h"
#include "bench/sample.h"
#include "dbus_proxies/manager_proxy.h"
#include "platform/bus/connection.h"
#include "platform/logging.h"
#include "platform/sd_event_loop.h"
#include "testbed/bus_peer.h"
#include "testbed/child_process.h"
#include "testbed/private_bus.h"
#include "testbed/temporary_directory.h"
#include "testbed/wait_until.h"

namespace orvane::bench {
namespace {

using Clock = std::chrono::steady_clock;
using testbed::FakeRecorder;

constexpr int kStarts = 9;
constexpr int kRuns = 5;
constexpr std::size_t kRecords = 100;
constexpr std::size_t kEvents = 1000;
constexpr char kFlagsName[] = "org.velmora.ap.Flags";
constexpr char kRecorderName[] = "org.velmora.ap.Quillary";

double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// A service as a process on its own bus, which has its name.
class Service {
 public:
  Service(const std::vector<std::string>& command, const char* name) : name_(name) {
    process_ = testbed::StartProcess(command);
    while (sd_bus_get_name_creds(connection_->bus(), name, 0, nullptr) < 0) {
    }
  }

  testbed::ChildProcess& process() { return *process_; }
  Clock::time_point start() const { return start_; }
  const std::shared_ptr<platform::bus::Connection>& connection() const { return connection_; }

  // Returns a value of its memory in MB, when it has started completely and is idle.
  double Memory(std::string_view key) {
    testbed::MustSucceed(sd_bus_call_method(
        connection_->bus(), name_, "/", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr, ""));
    AwaitAsleep(process_->pid());
    return MemoryOf(process_->pid(), key);
  }

 private:
  const char* name_;
  testbed::PrivateBus bus_;
  platform::SdEventLoop loop_;
  std::shared_ptr<platform::bus::Connection> connection_ =
      platform::bus::Connection::OpenSystemBus(loop_, nullptr);
  Clock::time_point start_ = Clock::now();
  std::unique_ptr<testbed::ChildProcess> process_;
};

// --- The recorder ---

// The record of 1,000 events that the daemon sends.
const FakeRecorder::Record& BatchRecord() {
  static const FakeRecorder::Record record = RecordOf(EventLines(kEvents));
  return record;
}

class Recorder {
 public:
  // Returns the time until the reply in milliseconds.
  double Store() {
    const FakeRecorder::Record& record = BatchRecord();
    const auto begin = Clock::now();
    std::unique_ptr<platform::Error> error;
    CHECK(proxy_.RecordOfflineData(
        record.data_type,
        {reinterpret_cast<const std::uint8_t*>(record.bytes.data()), record.bytes.size()}, &error,
        -1))
        << error->message();
    return MillisecondsSince(begin);
  }

  // Stores 100 records. Returns the times in order.
  std::vector<double> StoreAll() {
    std::vector<double> times(kRecords);
    std::ranges::generate(times, [this] { return Store(); });
    std::ranges::sort(times);
    return times;
  }

  // Ends the recorder. Returns the size of its database.
  double End() {
    service_.process().Signal(SIGTERM);
    CHECK(service_.process().WaitForExit(testbed::kPatience).has_value());
    return static_cast<double>(std::filesystem::file_size(Database()));
  }

  Service& service() { return service_; }

 private:
  platform::FilePath Database() const { return directory_.path() / "records.db"; }

  testbed::TemporaryDirectory directory_;
  Service service_{{AP_WAVELARK_RECORDER_PATH, "--database=" + Database().native()}, kRecorderName};
  org::velmora::ap::Quillary::ManagerProxy proxy_{service_.connection(), kRecorderName};
};

Measured MeasureRecorderStart() {
  BatchRecord();
  return Sample(kStarts, [] {
    Recorder recorder;
    recorder.Store();
    return MillisecondsSince(recorder.service().start());
  });
}

Measured MeasureReply() {
  return Sample(kRuns, [] { return Recorder().StoreAll()[kRecords / 2 - 1]; });
}

Measured MeasureSlowReply() {
  return Sample(kRuns, [] { return Recorder().StoreAll()[kRecords * 99 / 100 - 1]; });
}

Measured MeasureDatabase() {
  return Sample(1, [] {
    Recorder recorder;
    recorder.StoreAll();
    return recorder.End() / (kRecords * kEvents);
  });
}

Measured MeasureRecorderResident() {
  return Sample(kStarts, [] { return Recorder().service().Memory("Rss"); });
}

Measured MeasureRecorderMemory() {
  return Sample(kRuns, [] {
    Recorder recorder;
    recorder.StoreAll();
    return recorder.service().Memory("Anonymous");
  });
}

// --- The flags service ---

class FlagsService {
 public:
  FlagsService() { started_ = MillisecondsSince(service_.start()); }

  Service& service() { return service_; }
  double started() const { return started_; }

 private:
  static platform::FilePath WithFlags(const platform::FilePath& directory) {
    testbed::WriteFile(directory / "flags.conf", "clientSteering=enabled\n");
    return directory;
  }

  testbed::TemporaryDirectory directory_;
  Service service_{{AP_WAVELARK_FLAGS_PATH, "--directory=" + WithFlags(directory_.path()).native()},
                   kFlagsName};
  double started_;
};

Measured MeasureFlagsStart() {
  return Sample(kStarts, [] { return FlagsService().started(); });
}

Measured MeasureFlagsResident() {
  return Sample(kStarts, [] { return FlagsService().service().Memory("Rss"); });
}

}  // namespace

std::vector<Row> ServiceRows() {
  return {
      {"recorder_start", "start to the reply to the first record", "ms", {}, MeasureRecorderStart},
      {"recorder_reply", "reply to 1,000 events: median of 100", "ms", {}, MeasureReply},
      {"recorder_slow", "the same: 99th percentile of 100", "ms", 10, MeasureSlowReply},
      {"recorder_size", "an event in the database", "bytes", {}, MeasureDatabase},
      {"recorder_idle", "resident size of the recorder, idle", "MB", 8, MeasureRecorderResident},
      {"recorder_memory",
       "its anonymous memory after 100 records",
       "MB",
       {},
       MeasureRecorderMemory},
      {"flags_start", "start of the flags service to its name", "ms", {}, MeasureFlagsStart},
      {"flags_idle", "resident size of the flags service", "MB", 8, MeasureFlagsResident},
  };
}

}  // namespace orvane::bench
