#ifndef WAVELARKCTL_TRACE_TRACE_RECORDER_H_
#define WAVELARKCTL_TRACE_TRACE_RECORDER_H_

#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "optimizer/nl80211_manager.h"
#include "optimizer/nl80211_station.h"
#include "platform/loop.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/one_shot_timer.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"
#include "wavelarkctl/trace/trace_row.h"
#include "wavelarkctl/trace/trace_writer.h"

namespace orvane::wavelarkctl {

// Numbers addresses in order of appearance. The number is the pseudonym's last four bytes. It can't
// be reversed without the table, which only this object has.
class Pseudonyms {
 public:
  Address For(const Address& address);

 private:
  std::map<Address, std::uint32_t> numbers_;
};

// Records the stations of interfaces from the kernel. A sample requests the stations of each
// interface in turn. Its rows have the time of its start, and are flushed together. If a sample
// takes longer than the period, the next one is skipped.
class TraceRecorder {
 public:
  struct Options {
    std::vector<std::string> interfaces;
    platform::TimeSpan every;  // between the starts of two samples; over 0
    bool is_anonymous = false;
  };

  // Called when an interface fails. Further failures are reported only after an answer.
  using WarningCallback = std::function<void(const std::string& text)>;
  // Called if a sample can't be written, with the exception. The recorder has stopped.
  using FailureCallback = std::function<void(std::exception_ptr exception)>;

  // The loop, the manager and the writer must outlive it.
  TraceRecorder(platform::Loop& loop, platform::NetlinkManager* netlink, Options options,
                TraceWriter* writer, WarningCallback on_warning, FailureCallback on_failure);
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;

  // Takes the first sample at once.
  void Start();

 private:
  void OnTimer();
  void AskNext();
  void OnStation(const ap::Nl80211Station& station);
  void OnComplete(const ap::Nl80211Error* error);
  void EndSample();
  void Warn(const std::string& interface, const std::string& problem);

  platform::Loop& loop_;
  platform::NetlinkManager* netlink_;
  ap::Nl80211Manager nl80211_;
  Options options_;
  TraceWriter* writer_;
  WarningCallback on_warning_;
  FailureCallback on_failure_;
  Pseudonyms pseudonyms_;
  std::set<std::string> failing_;
  bool is_sampling_ = false;
  platform::WallTime sample_time_;
  std::size_t cursor_ = 0;  // the interface that is asked for
  platform::OneShotTimer timer_;
  platform::WeakPtrFactory<TraceRecorder> weak_ptr_factory_{this};
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_TRACE_RECORDER_H_
