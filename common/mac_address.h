#ifndef COMMON_MAC_ADDRESS_H_
#define COMMON_MAC_ADDRESS_H_

#include <endian.h>

#include <compare>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/byte_string.h"

namespace orvane::ap {

// The 48-bit hardware address of a station. Either empty or six bytes, in network order.
class MacAddress {
 public:
  // Creates an empty address, as the output of a Parse function.
  MacAddress() = default;

  // Takes six bytes, or a text that ConvertHexStringToByteString accepts. Anything else is fatal.
  explicit MacAddress(const platform::ByteString& mac_address);
  explicit MacAddress(std::string_view mac_address);

  // Sets `out` to the address. Returns false and leaves `out` unchanged unless `bytes` has six
  // bytes.
  static bool ParseFromByteString(const platform::ByteString& bytes, MacAddress* out);

  // Accepts what ConvertHexStringToByteString accepts. On failure returns false and clears `out`.
  static bool ParseFromString(std::string_view text, MacAddress* out);

  // Accepts twelve hexadecimal digits in either case, with any number of ":" and "-" between or
  // around them. Sets `out`, which may be null, to the six bytes. On failure returns false and
  // clears `out`.
  static bool ConvertHexStringToByteString(std::string_view text, platform::ByteString* out);

  // Twelve lower-case digits: "001a2b3c4d5e". The address must not be empty.
  std::string ToHexString() const;

  // Lower-case, with colons: "00:1a:2b:3c:4d:5e". The address must not be empty.
  std::string ToString() const;

  // Returns whether the locally administered bit is set, as in a client's random address. The
  // address must not be empty.
  bool IsLocallyAdministered() const;

  // Returns whether the address begins with `prefix`, for example a vendor's. The empty prefix
  // matches.
  bool HasPrefix(const platform::ByteString& prefix) const;

  const platform::ByteString& ToByteString() const { return address_; }

  // Compares bytes as unsigned numbers; the empty address is the least.
  friend auto operator<=>(const MacAddress& a, const MacAddress& b) {
    return a.ToNumber() <=> b.ToNumber();
  }
  friend bool operator==(const MacAddress& a, const MacAddress& b) {
    return a.ToNumber() == b.ToNumber();
  }

 private:
  // Steering looks up every station in every poll. Comparing numbers is faster than comparing
  // bytes.
  std::uint64_t ToNumber() const {
    if (address_.IsEmpty()) return 0;
    std::uint32_t high;
    std::uint16_t low;
    std::memcpy(&high, address_.GetConstData(), sizeof(high));
    std::memcpy(&low, address_.GetConstData() + sizeof(high), sizeof(low));
    constexpr std::uint64_t kNotEmpty = std::uint64_t{1} << 48U;
    return kNotEmpty | std::uint64_t{be32toh(high)} << 16U | be16toh(low);
  }

  platform::ByteString address_;
};

}  // namespace orvane::ap

#endif  // COMMON_MAC_ADDRESS_H_
