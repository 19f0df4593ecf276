#ifndef RECORDER_EVENT_PARTS_H_
#define RECORDER_EVENT_PARTS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "proto/event.pb.h"

namespace orvane::recorder {

using Bytes = std::span<const std::uint8_t>;

// The bytes of an Event, cut at its entries. An Event as a whole takes up to a hundred times its
// bytes in memory, one entry after the other takes nothing to speak of.
struct EventParts {
  access_infrastructure::proto::Event header;  // without entries
  // The entries, not parsed yet; parts of the bytes that were given.
  std::vector<Bytes> client_events;
  std::vector<Bytes> probe_reports;
};

// Nothing when the bytes are no Event, or one beyond the following limits.
std::optional<EventParts> SplitEvent(Bytes bytes);

// Entries of all kinds: more than the 32 MiB of a bus message hold of real ones.
inline constexpr std::size_t kMaxEntries = 300'000;
inline constexpr std::size_t kMaxEntrySize = 4096;
// Of the rest of an Event.
inline constexpr std::size_t kMaxHeaderSize = 4096;

}  // namespace orvane::recorder

#endif  // RECORDER_EVENT_PARTS_H_
