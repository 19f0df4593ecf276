#ifndef BENCH_EVENT_FLOOR_H_
#define BENCH_EVENT_FLOOR_H_

#include <nettle/sha2.h>

#include <string_view>

#include "event.pb.h"

namespace orvane::bench {

// The minimum work for a station event: split the line, hash the address with the salt, and fill
// the entry of the batch. It has no services, switches or logs, finds attributes by plain
// comparisons, and does not check for errors.
class EventFloor {
 public:
  using Event = access_infrastructure::proto::Event;

  explicit EventFloor(std::string_view salt);

  // Parses one event line and appends it to the batch.
  void Take(std::string_view line, Event* batch) const;

 private:
  using Info = access_infrastructure::proto::ClientEventInfo;

  void SetIdentifier(std::string_view mac, Info* info) const;

  sha256_ctx salted_hash_;
};

}  // namespace orvane::bench

#endif  // BENCH_EVENT_FLOOR_H_
