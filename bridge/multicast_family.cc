#include "bridge/multicast_family.h"

#include <linux/genetlink.h>

#include <string_view>

namespace orvane::bridge {

using platform::Attribute;
using platform::AttributeList;

std::optional<MulticastFamily> ParseMulticastFamily(
    const platform::GenericNetlinkMessage& message) {
  const AttributeList& attributes = *message.const_attributes();
  const auto id = attributes.Get<std::uint16_t>(CTRL_ATTR_FAMILY_ID);
  if (message.command() != CTRL_CMD_NEWFAMILY || !id.has_value()) return std::nullopt;

  MulticastFamily family;
  family.id = *id;
  for (const Attribute& entry : AttributeList(attributes.Find(CTRL_ATTR_MCAST_GROUPS))) {
    const AttributeList group(entry);
    const std::string_view name = group.Find(CTRL_ATTR_MCAST_GRP_NAME).text();
    const auto number = group.Get<std::uint32_t>(CTRL_ATTR_MCAST_GRP_ID);
    if (!name.empty() && number.has_value()) family.groups.emplace(name, *number);
  }
  return family;
}

}  // namespace orvane::bridge
