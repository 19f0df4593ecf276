#include "wavelarkctl/events/event_words.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace orvane::wavelarkctl {
namespace {

using Info = access_infrastructure::proto::ClientEventInfo;

constexpr auto kReasons = std::to_array<ReasonWords>({
    {Info::UNKNOWN_CLIENT_EVENT_REASON, "unknown reason", Wish::kUnknown},
    {Info::ASSOC_REJECT_STEER, "rejected, to steer it", Wish::kWanted},
    {Info::DISCONNECT_REQUEST_FROM_CLIENT, "client asked for it", Wish::kWanted},
    {Info::DISCONNECT_STEER_CLIENT, "steered", Wish::kWanted},
    {Info::FAILED_TO_ADD_STA, "access point could not add the client", Wish::kUnwanted},
    {Info::NO_ACK, "client did not acknowledge", Wish::kUnwanted},
    {Info::DISCONNECT_DISASSOC_CLI, "client disassociated", Wish::kWanted},
    {Info::DISCONNECT_DEAUTH_CLI, "client deauthenticated", Wish::kWanted},
    {Info::REASON_BSS_TM_REQ_CLI, "client agreed to move", Wish::kWanted},
    {Info::DISCONNECT_ASSOC_OTHER_BSS, "client joined another interface", Wish::kWanted},
    {Info::DISCONNECT_IAPP_NOTIFY, "client joined another access point", Wish::kWanted},
    {Info::DISCONNECT_LOW_ACK, "too many frames not acknowledged", Wish::kUnwanted},
    {Info::DISCONNECT_INACTIVITY, "client was silent", Wish::kUnwanted},
    {Info::DISCONNECT_WPA_AUTH, "key handshake failed", Wish::kUnwanted},
    {Info::DISCONNECT_INSUFFICIENT_ENTROPY, "not enough entropy for keys", Wish::kUnwanted},
    {Info::DISCONNECT_INCORRECT_RSN_IE, "security parameters do not match", Wish::kUnwanted},
    {Info::DISCONNECT_SET_KEY_FAILURE, "key could not be set", Wish::kUnwanted},
    {Info::DISCONNECT_EAPOL_M1_TIMEOUT, "no answer to handshake message 1", Wish::kUnwanted},
    {Info::DISCONNECT_EAPOL_M3_TIMEOUT, "no answer to handshake message 3", Wish::kUnwanted},
    {Info::DISCONNECT_GTK_M1_TIMEOUT, "no answer to the group key", Wish::kUnwanted},
    {Info::DISCONNECT_PSK_MISMATCH, "wrong passphrase", Wish::kUnwanted},
});

struct SteeringWords {
  Info::SteeringReason reason;
  std::string_view words;
};

constexpr auto kSteering = std::to_array<SteeringWords>({
    {Info::UNKNOWN_STEERING_REASON, "steering unknown"},
    {Info::STEER, "steered"},
    {Info::NOSTEER_TARGET_INTERFACE, "not steered: on the target interface"},
    {Info::NOSTEER_REASSOC, "not steered: reassociation"},
    {Info::NOSTEER_NEW_STATION, "not steered: new client"},
    {Info::NOSTEER_DEFERRED, "not steered: deferred"},
    {Info::NOSTEER_NON_CANDIDATE, "not steered: no candidate"},
    {Info::NOSTEER_WEAK_SIGNAL, "not steered: weak signal"},
    {Info::NOSTEER_RECENTLY_STEERED, "not steered: steered recently"},
});

template <typename Rows, typename Value>
std::string FindWords(const Rows& rows, bool is_known, Value value, std::string_view name) {
  const auto row =
      std::ranges::find(rows, value, [](const auto& candidate) { return candidate.reason; });
  return is_known && row != rows.end() ? std::string(row->words) : Printable(name);
}

}  // namespace

std::span<const ReasonWords> Reasons() { return kReasons; }

std::string WordsOfReason(std::string_view name) {
  Info::ClientEventReason reason{};
  const bool is_known = Info::ClientEventReason_Parse(std::string(name), &reason);
  return FindWords(kReasons, is_known, reason, name);
}

std::string WordsOfSteering(std::string_view name) {
  Info::SteeringReason reason{};
  const bool is_known = Info::SteeringReason_Parse(std::string(name), &reason);
  return FindWords(kSteering, is_known, reason, name);
}

std::string InterfaceName(std::string_view name) {
  std::string text = Printable(name);
  for (char& character : text) {
    character = character == '_'
                    ? '-'
                    : static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

std::string Printable(std::string_view text) {
  std::string printable(text);
  std::ranges::replace_if(
      printable,
      [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte >= 0x7f;
      },
      '?');
  return printable;
}

}  // namespace orvane::wavelarkctl
