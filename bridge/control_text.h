#ifndef BRIDGE_CONTROL_TEXT_H_
#define BRIDGE_CONTROL_TEXT_H_

#include <optional>
#include <string_view>

#include "platform/parse_number.h"

namespace orvane::bridge {

// Removes the first part of `*text` and the separator after it. Returns that part.
inline std::string_view TakeUntil(std::string_view* text, char separator) {
  const std::string_view taken = text->substr(0, text->find(separator));
  text->remove_prefix(taken.size() < text->size() ? taken.size() + 1 : taken.size());
  return taken;
}

// Parses a signal in dBm as hostapd prints it. Returns nothing for 0, which hostapd prints for an
// unknown signal, and for impossible values.
inline std::optional<int> ParseSignal(std::string_view text) {
  constexpr int kWeakest = -128;
  constexpr int kStrongest = 127;
  const std::optional<int> signal = platform::ParseNumber<int>(text);
  if (!signal.has_value() || *signal == 0 || *signal < kWeakest || *signal > kStrongest) {
    return std::nullopt;
  }
  return signal;
}

}  // namespace orvane::bridge

#endif  // BRIDGE_CONTROL_TEXT_H_
