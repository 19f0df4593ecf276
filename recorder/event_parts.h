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

// The bytes of an Event, split into its entries. A parsed Event takes up to a hundred times its
// bytes in memory; parsing one entry at a time takes almost none.
struct EventParts {
  access_infrastructure::proto::Event header;  // without entries
  // The unparsed entries; views of the input.
  std::vector<Bytes> client_events;
  std::vector<Bytes> probe_reports;
};

// Returns nothing if the bytes are not an Event or exceed the limits below.
std::optional<EventParts> SplitEvent(Bytes bytes);

// Maximum number of entries of all kinds: more than a bus message of 32 MiB can hold in practice.
inline constexpr std::size_t kMaxEntries = 300'000;
inline constexpr std::size_t kMaxEntrySize = 4096;
// Limit for the rest of an Event.
inline constexpr std::size_t kMaxHeaderSize = 4096;

}  // namespace orvane::recorder

#endif  // RECORDER_EVENT_PARTS_H_
