#include "wavelarkctl/events/event_follower.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "wavelarkctl/command.h"
#include "wavelarkctl/events/records.h"

namespace orvane::wavelarkctl {
namespace {

using platform::ScopedFd;

bool IsSameFile(const ScopedFd& one, const ScopedFd& other) {
  struct stat status = {};
  struct stat other_status = {};
  return fstat(one.get(), &status) == 0 && fstat(other.get(), &other_status) == 0 &&
         status.st_dev == other_status.st_dev && status.st_ino == other_status.st_ino;
}

}  // namespace

EventFollower::EventFollower(platform::FilePath database, EventFilter filter,
                             std::optional<int> last)
    : database_(std::move(database)), filter_(std::move(filter)), last_(last) {}

void EventFollower::ReadNew(const Use& use) {
  const bool is_first = !file_.is_valid();
  // Before the read: if the file is replaced during it, the next call detects that. Unlike other
  // descriptors, one of O_PATH does not release SQLite's locks when it is closed.
  ScopedFd file(open(database_.c_str(), O_PATH | O_CLOEXEC));
  if (!is_first && !file.is_valid()) return;
  if (!IsSameFile(file, file_)) {
    file_ = std::move(file);
    place_ = {};
  }
  try {
    Read(use, is_first);
    failures_ = 0;
  } catch (const Failure&) {
    if (is_first || ++failures_ > kMostFailures) throw;
  }
}

void EventFollower::Read(const Use& use, bool is_first) {
  ReadRecords(database_, [&](SQLite::Database& database) {
    // Later reads begin after this place, even if no event before it matches.
    const RecordedEvent::Place last = LastPlace(database);
    EventReader reader(database, filter_, place_);
    if (is_first && last_.has_value()) reader.SkipToLast(*last_);
    while (true) {
      const std::vector<RecordedEvent>& events = reader.ReadSome();
      if (events.empty()) break;
      use(events);
      place_ = events.back().place;
    }
    place_ = std::max(place_, last);
  });
}

}  // namespace orvane::wavelarkctl
