// Texts that may be hardware addresses.

#include <cctype>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/mac_address.h"
#include "fuzz/fuzz_target.h"
#include "platform/byte_string.h"
#include "platform/logging.h"

namespace orvane {
namespace {

// An independent implementation: without colons and dashes there must be twelve digits.
std::optional<std::string> DigitsOf(std::string_view text) {
  std::string digits;
  for (const char c : text) {
    if (c == ':' || c == '-') continue;
    const auto byte = static_cast<unsigned char>(c);
    if (std::isxdigit(byte) == 0) return std::nullopt;
    digits += static_cast<char>(std::tolower(byte));
  }
  if (digits.size() != 12) return std::nullopt;
  return digits;
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  const std::string_view text = fuzz::AsText(bytes);
  const std::optional<std::string> digits = DigitsOf(text);
  CHECK(ap::MacAddress::ConvertHexStringToByteString(text, nullptr) == digits.has_value());
  ap::MacAddress address;
  CHECK(ap::MacAddress::ParseFromString(text, &address) == digits.has_value());
  if (!digits) return;
  CHECK(address.ToHexString() == *digits);
  CHECK(address.ToString().size() == 17);
  CHECK(ap::MacAddress(address.ToString()) == address);
  CHECK(ap::MacAddress(address.ToByteString()) == address);
  CHECK(address.HasPrefix(address.ToByteString()));
  CHECK(address.IsLocallyAdministered() == ((address.ToByteString().GetConstData()[0] & 2) != 0));
}

}  // namespace orvane
