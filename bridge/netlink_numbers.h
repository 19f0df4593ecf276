#ifndef BRIDGE_NETLINK_NUMBERS_H_
#define BRIDGE_NETLINK_NUMBERS_H_

#include <cstring>
#include <optional>

#include "platform/netlink/attribute_list.h"

namespace orvane::bridge {

// The number that is an attribute's whole payload, in the machine's byte order; nothing if the
// attribute is absent or has another size.
template <typename Number>
std::optional<Number> ReadNumber(const platform::AttributeList& attributes, int type) {
  const platform::Attribute attribute = attributes.Find(type);
  if (!attribute || attribute.payload().size() != sizeof(Number)) return std::nullopt;
  Number number;
  std::memcpy(&number, attribute.payload().data(), sizeof(number));
  return number;
}

// Whether a flag is set, which is an attribute that is there.
inline bool HasFlag(const platform::AttributeList& attributes, int type) {
  return static_cast<bool>(attributes.Find(type));
}

}  // namespace orvane::bridge

#endif  // BRIDGE_NETLINK_NUMBERS_H_
