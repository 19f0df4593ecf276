#ifndef BRIDGE_CONTROL_TEXT_H_
#define BRIDGE_CONTROL_TEXT_H_

#include <charconv>
#include <optional>
#include <string_view>

namespace orvane::bridge {

// Takes the part before the next separator off the front of `*text`, and the separator with it.
inline std::string_view TakeUntil(std::string_view* text, char separator) {
  const std::string_view taken = text->substr(0, text->find(separator));
  text->remove_prefix(taken.size() < text->size() ? taken.size() + 1 : taken.size());
  return taken;
}

// A whole decimal number, with a minus at most in front of it, that fits.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

// A signal in dBm as hostapd writes it. Nothing for 0, which is written where none is known, and
// for what no radio measures.
inline std::optional<int> ParseSignal(std::string_view text) {
  constexpr int kWeakest = -128;
  constexpr int kStrongest = 127;
  const std::optional<int> signal = ParseNumber<int>(text);
  if (!signal.has_value() || *signal == 0 || *signal < kWeakest || *signal > kStrongest) {
    return std::nullopt;
  }
  return signal;
}

}  // namespace orvane::bridge

#endif  // BRIDGE_CONTROL_TEXT_H_
