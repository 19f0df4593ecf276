#include "platform/bus/property.h"

namespace orvane::platform::bus {

bool StringMapProperty::PopValue(MessageReader& reader) {
  const ReadScope variant(reader, SD_BUS_TYPE_VARIANT, nullptr);
  if (!variant) return false;
  if (!reader.NextIs(SD_BUS_TYPE_VARIANT)) return reader.PopStringMap(&value_);
  const ReadScope inner_variant(reader, SD_BUS_TYPE_VARIANT, nullptr);
  return inner_variant && reader.PopStringMap(&value_);
}

void StringMapProperty::AppendSetValue(MessageWriter& writer) const {
  const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
  writer.AppendStringMap(pending_value_);
}

}  // namespace orvane::platform::bus
