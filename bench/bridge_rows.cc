#include <fmt/format.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/cpu_time.h"
#include "bench/daemon.h"
#include "bench/rows.h"
#include "bench/sample.h"
#include "platform/logging.h"
#include "testbed/answering_hostapd.h"
#include "testbed/child_process.h"
#include "testbed/control_client.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

constexpr int kRuns = 15;
// The daemon's share of the bridge's send buffer has room for a burst that nobody reads.
constexpr unsigned kBurst = 100;
constexpr unsigned kBurstsPerRun = 12;
constexpr unsigned kKnownStations = 1000;
constexpr char kInterface[] = "wlan-2400mhz";
// The end of the names of the daemon's sockets.
constexpr char kDaemon[] = "-wavelark-wlan-2400mhz";

std::string ProbeRequest(unsigned station) {
  return fmt::format("<3>RX-PROBE-REQUEST sa=02:00:00:00:{:02x}:{:02x} signal=-50", station >> 8U,
                     station & 255U);
}

// A program between a hostapd and the daemon, which has attached to it.
class Passage {
 public:
  // Returns the arguments that start the program between two directories with control sockets.
  using Command = std::function<std::vector<std::string>(const platform::FilePath& hostapd,
                                                         const platform::FilePath& served)>;

  explicit Passage(const std::string& name, const Command& command) {
    for (const auto& directory : {Hostapd(), Served()}) {
      std::filesystem::create_directory(directory);
    }
    hostapd_ = std::make_unique<testbed::AnsweringHostapd>(Hostapd() / kInterface);
    program_ = testbed::StartProcess(command(Hostapd(), Served()));
    CHECK(hostapd_->WaitForMonitor(testbed::kPatience));
    CHECK(testbed::WaitUntil([this] { return platform::PathExists(Served() / kInterface); }));
    daemon_ = std::make_unique<testbed::ControlClient>(name + kDaemon, Served() / kInterface);
    CHECK(daemon_->Ask("ATTACH") == "OK\n");
    AwaitAsleep(pid());
  }

  pid_t pid() const { return program_->pid(); }

  // Passes probe requests of `count` stations on. They are queued when the program wakes up.
  // Returns its processor time.
  std::int64_t TakeBurst(unsigned first_station, unsigned count) {
    Stop(pid());
    for (unsigned i = 0; i < count; ++i) hostapd_->Send(ProbeRequest(first_station + i));
    const std::int64_t begin = CpuTimeOf(pid());
    Resume(pid());
    for (unsigned i = 0; i < count; ++i) CHECK(!daemon_->Receive().empty());
    AwaitAsleep(pid());
    return CpuTimeOf(pid()) - begin;
  }

 private:
  platform::FilePath Hostapd() const { return directory_.path() / "hostapd"; }
  platform::FilePath Served() const { return directory_.path() / "served"; }

  testbed::TemporaryDirectory directory_;
  std::unique_ptr<testbed::AnsweringHostapd> hostapd_;
  std::unique_ptr<testbed::ChildProcess> program_;
  std::unique_ptr<testbed::ControlClient> daemon_;
};

class Bridge : public Passage {
 public:
  Bridge()
      : Passage("bridge", [](const auto& hostapd, const auto& served) {
          return std::vector<std::string>{
              AP_WAVELARK_BRIDGE_PATH, "--hostapd-directory=" + hostapd.native(),
              "--directory=" + served.native(), std::string("--interface=") + kInterface};
        }) {}
};

class Forwarder : public Passage {
 public:
  Forwarder()
      : Passage("forwarder", [](const auto& hostapd, const auto& served) {
          return std::vector<std::string>{LINE_FORWARDER_PATH, hostapd / kInterface,
                                          served / kInterface};
        }) {}
};

// Returns nanoseconds per event.
double TakeBursts(Passage& passage) {
  std::int64_t time = 0;
  for (unsigned i = 0; i < kBurstsPerRun; ++i) time += passage.TakeBurst(0, kBurst);
  return static_cast<double>(time) / (kBurstsPerRun * kBurst);
}

Measured MeasureEvents() {
  Bridge bridge;
  Forwarder forwarder;
  return SampleBoth(
      kRuns, [&] { return TakeBursts(bridge); }, [&] { return TakeBursts(forwarder); });
}

Measured MeasureResident() {
  Bridge bridge;
  for (unsigned i = 0; i < kKnownStations; i += kBurst) bridge.TakeBurst(i, kBurst);
  return Sample(1, [&] { return MemoryOf(bridge.pid(), "Rss"); });
}

}  // namespace

std::vector<Row> BridgeRows() {
  return {
      {"bridge_event", "a probe request, from hostapd to the daemon", "ns", 3, MeasureEvents},
      {"bridge_resident", "resident size of the bridge, 1,000 stations", "MB", 8, MeasureResident},
  };
}

}  // namespace orvane::bench
