#ifndef BENCH_EVENT_FLOOR_H_
#define BENCH_EVENT_FLOOR_H_

#include <nettle/sha2.h>

#include <string_view>

#include "event.pb.h"

namespace orvane::bench {

// The least that a station event asks for: the line is split, the address hashed with the salt, and
// the entry of the batch filled. No services, no switches, no logs; an attribute is found by plain
// comparisons, and what is wrong is not looked for.
class EventFloor {
 public:
  using Event = access_infrastructure::proto::Event;

  explicit EventFloor(std::string_view salt);

  // One event line, appended to the batch.
  void Take(std::string_view line, Event* batch) const;

 private:
  using Info = access_infrastructure::proto::ClientEventInfo;

  void SetIdentifier(std::string_view mac, Info* info) const;

  sha256_ctx salted_hash_;
};

}  // namespace orvane::bench

#endif  // BENCH_EVENT_FLOOR_H_
