#include "recorder/event_parts.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <string>

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::Event;
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;

constexpr std::uint32_t EntryTag(int field_number) {
  return WireFormatLite::MakeTag(field_number, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
}

// Reads the length and the bytes of an entry.
bool TakeEntry(CodedInputStream& stream, Bytes bytes, std::vector<Bytes>* entries) {
  std::uint32_t size = 0;
  if (!stream.ReadVarint32(&size) || size > kMaxEntrySize) return false;
  const auto begin = static_cast<std::size_t>(stream.CurrentPosition());
  if (!stream.Skip(static_cast<int>(size))) return false;
  entries->push_back(bytes.subspan(begin, size));
  return true;
}

}  // namespace

std::optional<EventParts> SplitEvent(Bytes bytes) {
  EventParts parts;
  std::string header;
  CodedInputStream stream(bytes.data(), static_cast<int>(bytes.size()));
  for (;;) {
    const auto begin = static_cast<std::size_t>(stream.CurrentPosition());
    const std::uint32_t tag = stream.ReadTag();
    if (tag == 0) break;
    if (tag == EntryTag(Event::kClientEventInfoFieldNumber)) {
      if (!TakeEntry(stream, bytes, &parts.client_events)) return std::nullopt;
    } else if (tag == EntryTag(Event::kClientProbeRequestInfoFieldNumber)) {
      if (!TakeEntry(stream, bytes, &parts.probe_reports)) return std::nullopt;
    } else {
      if (!WireFormatLite::SkipField(&stream, tag)) return std::nullopt;
      const auto end = static_cast<std::size_t>(stream.CurrentPosition());
      header.append(reinterpret_cast<const char*>(bytes.data()) + begin, end - begin);
    }
    if (header.size() > kMaxHeaderSize) return std::nullopt;
    if (parts.client_events.size() + parts.probe_reports.size() > kMaxEntries) return std::nullopt;
  }
  if (!stream.ConsumedEntireMessage() || !parts.header.ParseFromString(header)) return std::nullopt;
  return parts;
}

}  // namespace orvane::recorder
