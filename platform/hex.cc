#include "platform/hex.h"

#include <cstddef>

namespace orvane::platform {
namespace {

// Returns -1 for a character that is not a hexadecimal digit.
int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

std::string HexEncode(std::span<const std::uint8_t> bytes, HexCase letters) {
  const std::string_view digits =
      letters == HexCase::kLower ? "0123456789abcdef" : "0123456789ABCDEF";
  std::string text(bytes.size() * 2, '\0');
  auto next = text.begin();
  for (const std::uint8_t byte : bytes) {
    *next++ = digits[byte >> 4];
    *next++ = digits[byte & 0xf];
  }
  return text;
}

std::optional<std::string> HexDecode(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = DigitValue(text[i]);
    const int low = DigitValue(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

}  // namespace orvane::platform
