#ifndef WAVELARKCTL_EVENT_WORDS_H_
#define WAVELARKCTL_EVENT_WORDS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "proto/event.pb.h"

namespace orvane::wavelarkctl {

// Who wanted a disconnect for this reason.
enum class Wish : std::uint8_t {
  kUnknown,  // the reason does not say
  kAsked,    // the client, or the one who operates the access point
  kNobody,
};

// A reason of an event in words.
struct ReasonWords {
  access_infrastructure::proto::ClientEventInfo::ClientEventReason reason;
  std::string_view words;
  Wish wish;
};

// One row for each reason.
std::span<const ReasonWords> Reasons();

// The words for the name of a reason. The name itself, made printable, if it is not known.
std::string WordsOfReason(std::string_view name);

// The words for a decision about steering, by its name, as WordsOfReason.
std::string WordsOfSteering(std::string_view name);

// The name of an interface as the system has it, "wlan-5000mhz" for WLAN_5000MHZ.
std::string InterfaceName(std::string_view name);

// The text without control characters, so that it can be shown on a terminal.
std::string Printable(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EVENT_WORDS_H_
