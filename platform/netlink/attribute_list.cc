#include "platform/netlink/attribute_list.h"

namespace orvane::platform {

Attribute AttributeList::Find(int type) const {
  for (const Attribute& attribute : *this) {
    if (attribute.type() == type) return attribute;
  }
  return Attribute();
}

bool AttributeList::GetFlagAttributeValue(int type, bool* value) const {
  const Attribute attribute = Find(type);
  if (!attribute || !attribute.payload().empty()) return false;
  *value = true;
  return true;
}

bool AttributeList::GetRawAttributeValue(int type, ByteString* value) const {
  const Attribute attribute = Find(type);
  if (!attribute) return false;
  *value = ByteString(attribute.payload());
  return true;
}

bool AttributeList::ConstGetNestedAttributeList(int type, AttributeList* value) const {
  const Attribute attribute = Find(type);
  if (!attribute) return false;
  *value = AttributeList(attribute);
  return true;
}

}  // namespace orvane::platform
