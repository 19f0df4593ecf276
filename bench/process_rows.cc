#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/cpu_time.h"
#include "bench/daemon.h"
#include "bench/full_uploader.h"
#include "bench/rows.h"
#include "bench/sample.h"
#include "platform/logging.h"
#include "testbed/process_figures.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

constexpr int kRuns = 15;
constexpr int kStarts = 9;
// Almost as many as hostapd can send to a client that does not read, with a default buffer.
constexpr std::size_t kBurst = 160;
constexpr std::size_t kBurstsPerRun = 12;
constexpr std::size_t kPendingEvents = 1000;
constexpr std::size_t kStations = 200;
constexpr std::chrono::seconds kIdleTime(10);

// --- Events ---

// Returns nanoseconds per event of bursts that are queued when the process wakes up.
double TakeBursts(pid_t pid, testbed::Hostapd& hostapd, const std::vector<std::string>& lines) {
  std::int64_t time = 0;
  for (std::size_t i = 0; i < kBurstsPerRun; ++i) {
    Stop(pid);
    for (const std::string& line : lines) hostapd.Send(line);
    const std::int64_t begin = CpuTimeOf(pid);
    Resume(pid);
    AwaitTaken(hostapd);
    AwaitAsleep(pid);
    time += CpuTimeOf(pid) - begin;
  }
  return static_cast<double>(time) / static_cast<double>(kBurstsPerRun * kBurst);
}

Measured MeasureEventRoad() {
  const std::vector<std::string> lines = EventLines(kBurst);
  Daemon daemon;
  testbed::Hostapd floor_hostapd("floor");
  const auto floor_process = testbed::StartProcess({EVENT_FLOOR_PATH, floor_hostapd.path()});
  floor_hostapd.Attach();
  AwaitTaken(floor_hostapd);
  AwaitAsleep(floor_process->pid());

  return SampleBoth(
      kRuns, [&] { return TakeBursts(daemon.pid(), daemon.hostapd(), lines); },
      [&] { return TakeBursts(floor_process->pid(), floor_hostapd, lines); });
}

// --- Memory and size ---

Measured MeasureIdleMemory() {
  return Sample(kStarts, [] {
    Daemon daemon;
    return MemoryOf(daemon.pid(), "Anonymous");
  });
}

Measured MeasureResidentSize() {
  return Sample(kStarts, [] {
    Daemon daemon;
    return MemoryOf(daemon.pid(), "Rss");
  });
}

// The stations are not in the process, since that needs a kernel with radios: their memory is
// measured separately and added.
Measured MeasureLoadedMemory() {
  const std::vector<std::string> lines = EventLines(kPendingEvents);
  return Sample(kStarts, [&] {
    Daemon daemon;
    for (const std::string& line : lines) {
      daemon.hostapd().Send(line);
      AwaitTaken(daemon.hostapd());
    }
    AwaitAsleep(daemon.pid());
    return MemoryOf(daemon.pid(), "Anonymous") +
           static_cast<double>(MemoryOfStations(kStations)) / 1'000'000;
  });
}

Measured MeasureBinary() {
  const testbed::TemporaryDirectory directory;
  const std::string stripped = directory.path() / "ap-wavelark";
  const auto strip = testbed::StartProcess({"strip", "-o", stripped, AP_WAVELARK_PATH});
  const auto status = strip->WaitForExit(std::chrono::seconds(20));
  CHECK(status.has_value() && status->code == 0) << "strip failed";
  return {.ours = Summarize({static_cast<double>(std::filesystem::file_size(stripped)) / 1000}),
          .floor = {}};
}

// --- Start and idleness ---

Measured MeasureStart() {
  return Sample(kStarts, [] {
    return std::chrono::duration<double, std::milli>(Daemon().start_time()).count();
  });
}

double WakeUpsPerMinute(Daemon& daemon) {
  constexpr char kSwitches[] = "voluntary_ctxt_switches";
  // The last attach deadline is a second away, and wakes the daemon even if it has no effect.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  const std::int64_t begin = testbed::ProcessFile(daemon.pid(), "status").Figure(kSwitches);
  std::this_thread::sleep_for(kIdleTime);
  const std::int64_t count = testbed::ProcessFile(daemon.pid(), "status").Figure(kSwitches) - begin;
  return static_cast<double>(count) * 60.0 / static_cast<double>(kIdleTime.count());
}

Measured MeasureIdleWakeUps() {
  return Sample(1, [] {
    Daemon daemon;
    return WakeUpsPerMinute(daemon);
  });
}

// With one event in the batch and steering on, one timer is far away and the other fires each
// second.
Measured MeasureTimerWakeUps() {
  return Sample(1, [] {
    Daemon daemon({"--enable_client_steering", "--client_steering_poll_interval=1"});
    daemon.hostapd().Send(EventLines(1).front());
    return WakeUpsPerMinute(daemon);
  });
}

}  // namespace

std::vector<Row> ProcessRows() {
  return {
      {"event_process", "an event, from the socket to the batch", "ns", 1.35, MeasureEventRoad},
      {"memory_idle", "anonymous memory, idle", "MB", 0.7, MeasureIdleMemory},
      {"memory_loaded", "anonymous memory, 1,000 events and 200 stations", "MB", 1.0,
       MeasureLoadedMemory},
      {"resident", "resident size, idle", "MB", 9, MeasureResidentSize},
      {"binary", "the program, stripped", "kB", 600, MeasureBinary},
      {"start", "start to attached on both bands", "ms", 15, MeasureStart},
      {"wakeups_idle", "wake-ups, no timer running", "1/min", 0, MeasureIdleWakeUps},
      {"wakeups_timers", "wake-ups, polling each second", "1/min", 60, MeasureTimerWakeUps},
  };
}

}  // namespace orvane::bench
