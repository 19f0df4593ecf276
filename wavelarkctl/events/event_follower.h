#ifndef WAVELARKCTL_EVENTS_EVENT_FOLLOWER_H_
#define WAVELARKCTL_EVENTS_EVENT_FOLLOWER_H_

#include <functional>
#include <optional>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/events/recorded_event.h"

namespace orvane::wavelarkctl {

// Reads events as they are recorded. Opens the database for each read, since a connection that was
// opened while no recorder ran may never see what a recorder adds. If another file has replaced the
// database, reads that one from its start.
class EventFollower {
 public:
  using Use = std::function<void(const std::vector<RecordedEvent>& events)>;

  // How many reads may fail in succession.
  static constexpr int kMostFailures = 20;

  // The first read skips all but the `last` events; without `last` it skips none.
  EventFollower(platform::FilePath database, EventFilter filter, std::optional<int> last);

  // Passes the events since the last read to `use`, some at a time. Throws a Failure, as
  // ReadRecords, if the first read fails, or after more than kMostFailures failures in succession:
  // a recorder that starts makes some reads fail. A database that has been removed is no failure.
  void ReadNew(const Use& use);

 private:
  void Read(const Use& use, bool is_first);

  platform::FilePath database_;
  EventFilter filter_;
  std::optional<int> last_;
  platform::ScopedFd file_;  // the followed file; open, so that no other file gets its inode
  RecordedEvent::Place place_;
  int failures_ = 0;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EVENTS_EVENT_FOLLOWER_H_
