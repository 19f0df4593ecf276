#include "tests/soak/recorder_peer.h"

#include <signal.h>

#include "event.pb.h"

namespace orvane::soak {
namespace {

using namespace std::chrono_literals;

constexpr char kUploadFailed[] = "Error recording offline data: ";

}  // namespace

void RecorderPeer::Trouble() {
  if (has_trouble_) return;
  has_trouble_ = true;
  const Schedule::Range briefly = {500ms, 6s};
  const auto mislead = [this](const testbed::Arguments& options) {
    return [this, options] { Mislead(options); };
  };
  course_.BeginOneOf({{30, [&] { Kill(); }},
                      {15, mislead({"--error", "org.velmora.Error.Soak"})},
                      {10, mislead({"--extra-data"})},
                      {15, mislead({"--delay", "0.5"})},
                      {25, [&] { Hang("recorder hung", briefly); }},
                      {5, [&] { Outwait(); }}});
}

// At any time, or when all sent lines are recorded.
void RecorderPeer::Kill() {
  if (course_.schedule.Chance(50)) return WhenRecorded([this] { KillNow(); });
  KillNow();
}

void RecorderPeer::KillNow() {
  course_.Count("recorder killed and restarted");
  ReadBatches();
  course_.ledger.DoubtAll();
  ap_.StopRecorder();
  is_there_ = false;
  AllowFailedUploads(5s);
  course_.schedule.After({0ms, 5s}, [this] {
    Restart({});
    is_there_ = true;
    has_trouble_ = false;
  });
}

void RecorderPeer::Mislead(const testbed::Arguments& options) {
  course_.Count("recorder that answers with " + options.front());
  AllowFailedUploads(20s);
  WhenRecorded([this, options] {
    Restart(options);
    course_.schedule.After({3s, 8s}, [this] {
      WhenRecorded([this] {
        Restart({});
        has_trouble_ = false;
      });
    });
  });
}

void RecorderPeer::DoWhenRecorded() {
  if (!when_recorded_ || course_.ledger.AwaitedCount() > 0) return;
  std::exchange(when_recorded_, nullptr)();
}

// Calls during that time are handled later.
void RecorderPeer::Hang(const std::string& action, Schedule::Range range) {
  course_.Count(action);
  ap_.recorder().Signal(SIGSTOP);
  course_.schedule.After(range, [this] {
    ap_.recorder().Signal(SIGCONT);
    has_trouble_ = false;
  });
}

// The daemon's call times out, but its message is handled later.
void RecorderPeer::Outwait() {
  course_.log.Allow("WARNING", kUploadFailed, 2);
  Hang("recorder hung for longer than the time-out of a call", {26s, 30s});
}

void RecorderPeer::Restart(const testbed::Arguments& options) {
  ReadBatches();
  course_.ledger.DoubtAll();
  ap_.StartRecorder(options);
}

// Those of both interfaces, and one more at either end.
void RecorderPeer::AllowFailedUploads(Schedule::Span span) {
  course_.log.Allow("WARNING", kUploadFailed,
                    2 * static_cast<std::size_t>(span / kUploadPeriod + 2));
}

void RecorderPeer::ReadBatches() {
  while (ap_.HasRecord(batch_count_ + 1)) {
    const testbed::Record record = ap_.WaitForRecord(++batch_count_);
    if (record.type != testbed::kEventTypeUrl) {
      course_.violations.push_back("a record of type " + record.type);
    }
    const bool is_first =
        record.event.interface() == access_infrastructure::proto::WifiInterface::WLAN_2400MHZ;
    course_.ledger.Received(is_first ? 0 : 1, record.event);
  }
}

}  // namespace orvane::soak
