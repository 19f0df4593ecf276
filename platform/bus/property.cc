#include "platform/bus/property.h"

namespace orvane::platform::bus {

bool StringMapProperty::PopValue(MessageReader& reader) {
  const ReadScope variant(reader, SD_BUS_TYPE_VARIANT, nullptr);
  if (!variant) return false;
  if (!reader.NextIs(SD_BUS_TYPE_VARIANT)) return PopArray(reader);
  const ReadScope inner_variant(reader, SD_BUS_TYPE_VARIANT, nullptr);
  return inner_variant && PopArray(reader);
}

bool StringMapProperty::PopArray(MessageReader& reader) {
  const ReadScope array(reader, SD_BUS_TYPE_ARRAY, nullptr);
  if (!array) return false;
  value_.clear();
  while (reader.HasMore()) {
    const ReadScope entry(reader, SD_BUS_TYPE_DICT_ENTRY, "ss");
    if (!entry) return false;
    const auto key = reader.PopString();
    const auto text = reader.PopString();
    if (!key.has_value() || !text.has_value()) return false;
    value_.emplace(*key, *text);
  }
  return true;
}

void StringMapProperty::AppendSetValue(MessageWriter& writer) const {
  const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
  writer.AppendStringMap(pending_value_);
}

}  // namespace orvane::platform::bus
