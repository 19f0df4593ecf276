#ifndef BENCH_FULL_UPLOADER_H_
#define BENCH_FULL_UPLOADER_H_

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "bench/bench_loop.h"
#include "dbus_proxies/manager_proxy_interface.h"
#include "optimizer/event_uploader.h"
#include "optimizer/hostapd_event.h"
#include "optimizer/hostapd_interface.h"
#include "testbed/event_plan.h"
#include "testbed/fake_recorder.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {

inline constexpr char kSalt[] = "a salt of the benchmark's";

// Returns lines of about 220 bytes with 13 attributes each.
inline std::vector<std::string> EventLines(std::size_t count) {
  std::vector<std::string> lines;
  const testbed::EventPlan plan = testbed::FloodPlan(count);
  for (std::size_t i = 0; i < count; ++i) lines.push_back(plan.line(i).line);
  return lines;
}

// The daemon's uploader, fed with event lines.
class FullUploader {
 public:
  explicit FullUploader(org::velmora::ap::Quillary::ManagerProxyInterface* recorder)
      : uploader_(loop_, recorder, ap::StationIdGenerator(SaltFile())) {
    uploader_.Initialize(kPeriod, &hostapd_);
    uploader_.Enable();
  }

  // Adds an entry to the batch for each line.
  void Take(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) parser_.Parse(line, callback_);
  }

  // Passes the batch to the recorder.
  void Upload() { loop_.AdvanceBy(kPeriod); }

 private:
  static constexpr std::chrono::seconds kPeriod{300};

  platform::FilePath SaltFile() const {
    const platform::FilePath file = directory_.path() / "salt";
    testbed::WriteFile(file, kSalt);
    return file;
  }

  testbed::TemporaryDirectory directory_;
  BenchLoop loop_;
  ap::HostapdInterface hostapd_{loop_};
  ap::EventUploader uploader_;
  ap::HostapdEventParser parser_;
  ap::HostapdLineCallback callback_ = [this, interface = std::string("wlan-2400mhz")](
                                          ap::HostapdEventType kind, std::string_view mac,
                                          ap::HostapdAttributes attributes) {
    uploader_.EventCallback(interface, kind, mac, attributes);
  };
};

// Returns the record that the uploader makes of these lines.
inline testbed::FakeRecorder::Record RecordOf(const std::vector<std::string>& lines) {
  testbed::FakeRecorder recorder;
  FullUploader uploader(&recorder);
  uploader.Take(lines);
  uploader.Upload();
  return recorder.records().back();
}

}  // namespace orvane::bench

#endif  // BENCH_FULL_UPLOADER_H_
