#include "tests/soak/flags_peer.h"

#include <fmt/format.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <utility>

#include "tests/soak/air.h"

namespace orvane::soak {
namespace {

using namespace std::chrono_literals;

constexpr char kEventSwitch[] = "connectionEventsUpload";
constexpr char kProbeSwitch[] = "connectionEventsProbeReqUpload";
constexpr char kUploader[] = "connectionEvents";
constexpr char kSteering[] = "clientSteering";

constexpr char kReading[] = "Set connection_event_upload to ";
constexpr char kReadFailed[] = "Failed to read the properties ";

std::string OnOrOff(bool is_on) { return is_on ? "enabled" : "disabled"; }

const testbed::FlagMap kCalmFlags = {{kUploader, "enabled"},
                                     {kEventSwitch, "1"},
                                     {kProbeSwitch, "1"},
                                     {kSteering, "enabled"},
                                     {"clientSteeringInterval", "2"},
                                     {"clientSteeringPollInterval", "1"},
                                     {"clientSteeringRootLqmFloor", "30"},
                                     {"clientSteeringLqmHysteresis", "15"}};

testbed::FlagMap RandomFlags(Schedule& schedule) {
  return {{kUploader, OnOrOff(schedule.Chance(90))},
          {kEventSwitch, schedule.Chance(90) ? "1" : "0"},
          {kProbeSwitch, schedule.Chance(80) ? "1" : "0"},
          {kSteering, OnOrOff(schedule.Chance(85))},
          {"clientSteeringInterval", std::to_string(schedule.Random(1, 3))},
          {"clientSteeringPollInterval", std::to_string(schedule.Random(1, 2))},
          {"clientSteeringRootLqmFloor",
           std::to_string(schedule.Random(Air::kLowestFloor, Air::kHighestFloor))},
          {"clientSteeringChildLqmFloor", std::to_string(schedule.Random(0, 100))},
          {"clientSteeringLqmHysteresis",
           std::to_string(schedule.Random(10, Air::kHighestHysteresis))}};
}

// Compares the flags that decide what is recorded.
bool RecordAlike(const testbed::FlagMap& a, const testbed::FlagMap& b) {
  return std::ranges::all_of(std::array{kUploader, kEventSwitch, kProbeSwitch},
                             [&](const char* key) { return a.at(key) == b.at(key); });
}

}  // namespace

FlagsPeer::FlagsPeer(Course& course)
    : course_(course), ap_(course.access_point), flags_(kCalmFlags) {}

void FlagsPeer::Start() {
  ap_.StartFlags(flags_);
  AllowReading();
}

void FlagsPeer::ChangeToCalm() { next_flags_ = kCalmFlags; }

void FlagsPeer::ChangeAtRandom() { next_flags_ = RandomFlags(course_.schedule); }

void FlagsPeer::Trouble() {
  if (has_trouble_ || !AreRead()) return;
  has_trouble_ = true;
  course_.BeginOneOf({{25, [&] { Kill(); }}, {25, [&] { Mislead(); }}, {50, [&] { Hang(); }}});
}

void FlagsPeer::Kill() {
  course_.Count("flags service killed and restarted");
  is_away_ = true;
  ap_.StopFlags();
  course_.schedule.After({0ms, 5s}, [this] { Restart({}); });
}

void FlagsPeer::Mislead() {
  course_.Count("flags service that returns errors");
  is_away_ = true;
  course_.log.Allow("WARNING", kReadFailed, 2);
  ap_.StartFlags(flags_, {"--error", "org.velmora.Error.Soak"});
  course_.schedule.After({1s, 4s}, [this] { Restart({"--extra-variant"}); });
}

void FlagsPeer::Restart(const testbed::Arguments& options) {
  course_.log.Allow("WARNING", kReadFailed, 1);
  ap_.StartFlags(flags_, options);
  AllowReading();
  has_trouble_ = is_away_ = false;
}

// A change may be in progress here.
void FlagsPeer::Hang() {
  course_.Count("flags service hung");
  ap_.flags_service().Signal(SIGSTOP);
  course_.schedule.After({500ms, 3s}, [this] {
    ap_.flags_service().Signal(SIGCONT);
    has_trouble_ = false;
  });
}

void FlagsPeer::Serve(bool are_lines_taken) {
  if (!AreRead()) return;
  is_switching_ = false;
  if (!next_flags_ || is_away_) return;
  const bool is_switch = !RecordAlike(flags_, *next_flags_);
  if (is_switch && !are_lines_taken) return;
  course_.Count("flag changes");
  flags_ = *std::exchange(next_flags_, std::nullopt);
  is_switching_ = is_switch;
  AllowReading();
  ap_.SetFlags(flags_);
}

void FlagsPeer::OnLogText(std::string_view text) {
  if (text.starts_with(kReading)) ++readings_seen_;
}

bool FlagsPeer::IsRecorded(LineKind kind) const {
  const char* key = kind == LineKind::kProbe ? kProbeSwitch : kEventSwitch;
  return flags_.at(kUploader) == "enabled" && flags_.at(key) == "1";
}

bool FlagsPeer::IsSwitching() const {
  return is_switching_ || (next_flags_ && !RecordAlike(flags_, *next_flags_));
}

Check FlagsPeer::JudgeReadings() const {
  return {.name = "flags are read once for each change and each start of their service",
          .holds = readings_seen_ == readings_expected_,
          .finding = fmt::format("{} of {} times", readings_seen_, readings_expected_)};
}

void FlagsPeer::AllowReading() {
  ++readings_expected_;
  course_.log.Allow("INFO", kReading, 1);
  course_.log.Allow("INFO", "Set probe_req_event_upload to ", 1);
  course_.log.Allow("INFO", " Connection event upload ", 1);
  course_.log.Allow("INFO", " Client Steer Started ", 1);
  course_.log.Allow("INFO", " Client Steer Stopped ", 1);
}

}  // namespace orvane::soak
