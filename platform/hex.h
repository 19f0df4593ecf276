#ifndef PLATFORM_HEX_H_
#define PLATFORM_HEX_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orvane::platform {

enum class HexCase : std::uint8_t { kLower, kUpper };

// Returns two digits per byte, in byte order, without separators.
std::string HexEncode(std::span<const std::uint8_t> bytes, HexCase letters);

// Decodes pairs of hexadecimal digits of either case. Returns nothing for any other text, and an
// empty string for the empty text.
std::optional<std::string> HexDecode(std::string_view text);

}  // namespace orvane::platform

#endif  // PLATFORM_HEX_H_
