#ifndef PLATFORM_BYTE_STRING_H_
#define PLATFORM_BYTE_STRING_H_

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/hex.h"

namespace orvane::platform {

// A growable array of bytes. Up to 15 bytes, for example a hardware address, need no allocation.
class ByteString {
 public:
  ByteString() = default;
  explicit ByteString(std::span<const std::uint8_t> bytes) : bytes_(bytes.begin(), bytes.end()) {}

  // Returns an empty string if the text is not hexadecimal (see HexDecode).
  static ByteString CreateFromHexString(std::string_view text) {
    ByteString result;
    result.bytes_ = HexDecode(text).value_or(std::string());
    return result;
  }

  bool IsEmpty() const { return bytes_.empty(); }
  std::size_t GetLength() const { return bytes_.size(); }
  const std::uint8_t* GetConstData() const {
    return reinterpret_cast<const std::uint8_t*>(bytes_.data());
  }
  std::span<const std::uint8_t> AsSpan() const { return {GetConstData(), GetLength()}; }

  // Lower case, without separators.
  std::string HexEncode() const { return platform::HexEncode(AsSpan(), HexCase::kLower); }
  bool BeginsWith(const ByteString& prefix) const { return bytes_.starts_with(prefix.bytes_); }
  void Clear() { bytes_.clear(); }

  // Compares bytes as unsigned numbers; a prefix is less than the whole.
  friend auto operator<=>(const ByteString&, const ByteString&) = default;

 private:
  std::string bytes_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_BYTE_STRING_H_
