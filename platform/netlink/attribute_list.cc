#include "platform/netlink/attribute_list.h"

namespace orvane::platform {

Attribute AttributeList::Find(int type) const {
  for (const Attribute& attribute : *this) {
    if (attribute.type() == type) return attribute;
  }
  return Attribute();
}

bool AttributeList::HasFlag(int type) const {
  const Attribute attribute = Find(type);
  return attribute && attribute.payload().empty();
}

}  // namespace orvane::platform
