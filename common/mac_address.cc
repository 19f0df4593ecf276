#include "common/mac_address.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/logging.h"

namespace orvane::ap {

using platform::ByteString;

namespace {

constexpr std::size_t kAddressLength = 6;
constexpr std::size_t kHexLength = 2 * kAddressLength;
constexpr std::uint8_t kLocallyAdministeredBit = 0x02;

}  // namespace

MacAddress::MacAddress(const ByteString& mac_address) {
  CHECK(ParseFromByteString(mac_address, this))
      << "Invalid MAC address: " << mac_address.HexEncode();
}

MacAddress::MacAddress(std::string_view mac_address) {
  CHECK(ConvertHexStringToByteString(mac_address, &address_))
      << "Invalid MAC address: " << mac_address;
}

bool MacAddress::ParseFromByteString(const ByteString& bytes, MacAddress* out) {
  if (bytes.GetLength() != kAddressLength) return false;
  out->address_ = bytes;
  return true;
}

bool MacAddress::ParseFromString(std::string_view text, MacAddress* out) {
  return ConvertHexStringToByteString(text, out == nullptr ? nullptr : &out->address_);
}

bool MacAddress::ConvertHexStringToByteString(std::string_view text, ByteString* out) {
  if (out != nullptr) out->Clear();
  // Every station event is parsed here, so the digits are collected without allocation.
  std::array<char, kHexLength> digits;
  std::size_t count = 0;
  for (const char character : text) {
    if (character == ':' || character == '-') continue;
    if (count == kHexLength) return false;
    digits[count++] = character;
  }
  const ByteString bytes = ByteString::CreateFromHexString({digits.data(), count});
  if (bytes.GetLength() != kAddressLength) return false;
  if (out != nullptr) *out = bytes;
  return true;
}

std::string MacAddress::ToHexString() const {
  CHECK(!address_.IsEmpty());
  return address_.HexEncode();
}

std::string MacAddress::ToString() const {
  std::string text = ToHexString();
  // From right to left, so that an insertion does not move later positions.
  for (const std::size_t position : {10, 8, 6, 4, 2}) text.insert(position, 1, ':');
  return text;
}

bool MacAddress::IsLocallyAdministered() const {
  CHECK(!address_.IsEmpty());
  return (address_.GetConstData()[0] & kLocallyAdministeredBit) != 0;
}

bool MacAddress::HasPrefix(const ByteString& prefix) const { return address_.BeginsWith(prefix); }

}  // namespace orvane::ap
