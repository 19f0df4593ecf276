#ifndef COMMON_MAC_ADDRESS_H_
#define COMMON_MAC_ADDRESS_H_

#include <compare>
#include <string>
#include <string_view>

#include "platform/byte_string.h"

namespace orvane::ap {

// The 48-bit hardware address of a station. Either empty or six bytes, in network order.
class MacAddress {
 public:
  // Empty: to be the `out` of a Parse function. An empty address has no text form.
  MacAddress() = default;

  // From the six bytes, or from a text that ConvertHexStringToByteString takes. Fatal otherwise.
  explicit MacAddress(const platform::ByteString& mac_address);
  explicit MacAddress(std::string_view mac_address);

  // False, with `out` as it was, unless there are six bytes.
  static bool ParseFromByteString(const platform::ByteString& bytes, MacAddress* out);

  // As ConvertHexStringToByteString.
  static bool ParseFromString(std::string_view text, MacAddress* out);

  // Whether the text is twelve hexadecimal digits, of either case, with any number of ":" and "-"
  // anywhere between or around them. `out` gets the six bytes, or is emptied; it may be null.
  static bool ConvertHexStringToByteString(std::string_view text, platform::ByteString* out);

  // Twelve lower-case digits: "001a2b3c4d5e". The address must not be empty.
  std::string ToHexString() const;

  // Lower-case, with colons: "00:1a:2b:3c:4d:5e". The address must not be empty.
  std::string ToString() const;

  // Whether the address was made up (by a client that hides its own one, say) instead of given by
  // the hardware's vendor. The address must not be empty.
  bool IsLocallyAdministered() const;

  // For the vendor's part of the address, say. Every address has the empty prefix.
  bool HasPrefix(const platform::ByteString& prefix) const;

  const platform::ByteString& ToByteString() const { return address_; }

  // By the bytes, as unsigned numbers; the empty address comes first.
  friend auto operator<=>(const MacAddress&, const MacAddress&) = default;

 private:
  platform::ByteString address_;
};

}  // namespace orvane::ap

#endif  // COMMON_MAC_ADDRESS_H_
