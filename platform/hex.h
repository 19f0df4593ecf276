#ifndef PLATFORM_HEX_H_
#define PLATFORM_HEX_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orvane::platform {

enum class HexCase : std::uint8_t { kLower, kUpper };

// Two digits a byte, in byte order, no separators.
std::string HexEncode(std::span<const std::uint8_t> bytes, HexCase letters);

// The bytes of a text that is nothing but pairs of hexadecimal digits, in either case; nothing for
// any other text. The empty text gives no bytes, and that is a success.
std::optional<std::string> HexDecode(std::string_view text);

}  // namespace orvane::platform

#endif  // PLATFORM_HEX_H_
