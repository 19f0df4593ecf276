#ifndef WAVELARKCTL_EVENTS_EVENT_WORDS_H_
#define WAVELARKCTL_EVENTS_EVENT_WORDS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "proto/event.pb.h"

namespace orvane::wavelarkctl {

// Whether the client or the operator of the access point wanted a disconnect for this reason.
enum class Wish : std::uint8_t { kUnknown, kWanted, kUnwanted };

// A reason of an event in words.
struct ReasonWords {
  access_infrastructure::proto::ClientEventInfo::ClientEventReason reason;
  std::string_view words;
  Wish wish;
};

// One row for each reason.
std::span<const ReasonWords> Reasons();

// Returns the words for the name of a reason. For an unknown name, returns the printable name.
std::string WordsOfReason(std::string_view name);

// The same for the name of a steering reason.
std::string WordsOfSteering(std::string_view name);

// The system's name of an interface: "wlan-5000mhz" for WLAN_5000MHZ.
std::string InterfaceName(std::string_view name);

// Replaces all but printable ASCII by '?', so that a terminal can show the text.
std::string Printable(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EVENTS_EVENT_WORDS_H_
