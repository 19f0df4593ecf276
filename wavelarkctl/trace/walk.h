#ifndef WAVELARKCTL_TRACE_WALK_H_
#define WAVELARKCTL_TRACE_WALK_H_

#include <cstdint>

#include "wavelarkctl/trace/trace_writer.h"

namespace orvane::wavelarkctl {

// Generated traces. They are the same in each run.
enum class Walk : std::uint8_t {
  kAway,   // a client walks off, stays away for half an hour, and comes back: 2 hours
  kFloor,  // a client's metric stays around the default floor: 24 hours
  kDips,   // a client is near, with occasional dips of some minutes: 24 hours
  kCrowd,  // clients wander on both bands, a row for each in every minute: 24 hours
};

// Writes the rows of a walk and flushes them. `clients` is the size of the crowd; the other walks
// have one client.
void WriteWalk(Walk walk, std::uint32_t clients, TraceWriter& writer);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_WALK_H_
