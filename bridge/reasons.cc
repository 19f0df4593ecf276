#include "bridge/reasons.h"

#include <algorithm>
#include <iterator>

namespace orvane::bridge {
namespace {

// Status codes of IEEE 802.11.
constexpr std::uint16_t kStatusNoRoom = 17;
constexpr std::uint16_t kStatusSuggestedTransition = 82;

// Reason codes of IEEE 802.11.
constexpr std::uint16_t kReasonUnspecified = 1;
constexpr std::uint16_t kReasonAuthenticationExpired = 2;
constexpr std::uint16_t kReasonInactivity = 4;
constexpr std::uint16_t kReasonHandshakeTimeout = 15;
constexpr std::uint16_t kReasonGroupHandshakeTimeout = 16;
constexpr std::uint16_t kReason8021xFailed = 23;
constexpr std::uint16_t kReasonLowAck = 34;

struct WordRow {
  std::uint16_t code;
  std::string_view word;
};

constexpr WordRow kStatusWords[] = {
    {kStatusNoRoom, "failed_to_add"},
    {kStatusSuggestedTransition, "reject_steer"},
};

constexpr WordRow kReasonWords[] = {
    {kReasonInactivity, "inactivity"},
    {kReasonGroupHandshakeTimeout, "gtk_m1_timeout"},
    {kReasonLowAck, "low_ack"},
};

// These reason codes mean a failed handshake only if a handshake had begun.
constexpr WordRow kHandshakeWords[] = {
    {kReasonAuthenticationExpired, "wpa_auth"},
    {kReason8021xFailed, "wpa_auth"},
};

template <std::size_t size>
std::string_view FindWord(const WordRow (&table)[size], std::uint16_t code) {
  const auto* row = std::ranges::find(table, code, &WordRow::code);
  return row != std::end(table) ? row->word : std::string_view();
}

std::string_view TimeoutWord(EapolMessage last_message) {
  switch (last_message) {
    case EapolMessage::kPairwise1:
      return "eapol_m1_timeout";
    case EapolMessage::kPairwise3:
      return "eapol_m3_timeout";
    case EapolMessage::kOther:
      break;
  }
  return "";
}

}  // namespace

std::string_view ReasonOfStatus(std::uint16_t status) { return FindWord(kStatusWords, status); }

std::string_view ReasonOfNotice(std::uint16_t reason, std::optional<EapolMessage> last_message) {
  if (last_message.has_value()) {
    if (reason == kReasonHandshakeTimeout) return TimeoutWord(*last_message);
    const std::string_view word = FindWord(kHandshakeWords, reason);
    if (!word.empty()) return word;
  }
  return FindWord(kReasonWords, reason);
}

bool MayHaveMoved(std::uint16_t reason) {
  return reason == kReasonUnspecified || reason == kReasonInactivity;
}

}  // namespace orvane::bridge
