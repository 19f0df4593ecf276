#include "testbed/record.h"

#include <fmt/format.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <time.h>

#include <optional>
#include <span>
#include <string_view>

#include "event.pb.h"
#include "platform/hex.h"
#include "platform/logging.h"
#include "testbed/text.h"

namespace orvane::testbed {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using access_infrastructure::proto::Event;
using google::protobuf::Message;

// Number of shown digits of an identifier, enough to distinguish stations.
constexpr std::size_t kShownIdentifier = 12;

bool IsEventType(std::string_view type) {
  return type.ends_with("/" + Event::descriptor()->full_name());
}

std::optional<Event> Decode(const DataRecord& record) {
  Event event;
  if (!IsEventType(record.type) || !event.ParseFromString(record.data)) return std::nullopt;
  return event;
}

std::string TimeOfDay(std::uint64_t milliseconds) {
  const auto seconds = static_cast<time_t>(milliseconds / 1000);
  tm local = {};
  if (localtime_r(&seconds, &local) == nullptr) return std::to_string(milliseconds) + " ms";
  return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                     milliseconds % 1000);
}

// Returns every field that is set, on one line.
std::string FieldsOf(const Message& message) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::string text;
  CHECK(printer.PrintToString(message, &text));
  return std::string(TrimBlanks(text));
}

std::string StationOf(const std::string& identifier) {
  return identifier.empty() ? "unknown" : identifier.substr(0, kShownIdentifier);
}

std::string DescribeClientEvent(const ClientEventInfo& info) {
  // Fields that are printed before are not repeated.
  ClientEventInfo rest = info;
  rest.clear_client_shmac();
  rest.clear_event_time_in_milliseconds();
  rest.clear_event_type();
  return fmt::format("  {} {:<12} {:<12} {}", TimeOfDay(info.event_time_in_milliseconds()),
                     ClientEventInfo::ClientEventType_Name(info.event_type()),
                     StationOf(info.client_shmac()), FieldsOf(rest));
}

std::string DescribeProbeRequest(const ClientProbeRequestInfo& info) {
  ClientProbeRequestInfo rest = info;
  rest.clear_client_shmac();
  return fmt::format("  {:<12} {:<12} {:<12} {}", "", "probe report",
                     StationOf(info.client_shmac()), FieldsOf(rest));
}

std::string DescribeEvent(const Event& event) {
  std::string text =
      fmt::format(": {}, {} client events, {} probe reports",
                  access_infrastructure::proto::WifiInterface_Name(event.interface()),
                  event.client_event_info_size(), event.client_probe_request_info_size());
  for (const auto& info : event.client_event_info()) text += "\n" + DescribeClientEvent(info);
  for (const auto& info : event.client_probe_request_info()) {
    text += "\n" + DescribeProbeRequest(info);
  }
  return text;
}

std::string Json(const Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string text;
  CHECK(google::protobuf::util::MessageToJsonString(message, &text, options).ok());
  return text;
}

std::string JsonText(const std::string& text) {
  google::protobuf::Value value;
  value.set_string_value(text);
  return Json(value);
}

std::string JsonMap(const std::map<std::string, std::string>& map) {
  google::protobuf::Struct object;
  for (const auto& [key, value] : map) (*object.mutable_fields())[key].set_string_value(value);
  return Json(object);
}

std::string Hex(const std::string& bytes) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  return platform::HexEncode({data, bytes.size()}, platform::HexCase::kLower);
}

}  // namespace

std::string DescribeRecord(const DataRecord& record) {
  std::string text =
      fmt::format("{} {} {}, {} bytes", TimeOfDay(static_cast<std::uint64_t>(record.received_ms)),
                  record.method, record.type, record.data.size());
  if (const std::optional<Event> event = Decode(record)) return text + DescribeEvent(*event);
  if (IsEventType(record.type)) text += ": can't be decoded";
  return text;
}

std::string DescribeRecord(const MetricRecord& record) {
  std::string text =
      fmt::format("{} {} {} = {} ({})", TimeOfDay(static_cast<std::uint64_t>(record.received_ms)),
                  record.method, record.name, record.value, record.signature);
  for (const auto& [key, value] : record.fields) text += fmt::format(" {}={}", key, value);
  return text;
}

std::string RecordToJson(const DataRecord& record) {
  const std::optional<Event> event = Decode(record);
  const std::string contents =
      event ? R"("message":)" + Json(*event) : R"("data_hex":")" + Hex(record.data) + '"';
  return fmt::format(R"({{"method":{},"type_url":{},"size":{},"received_ms":{},{}}})",
                     JsonText(record.method), JsonText(record.type), record.data.size(),
                     record.received_ms, contents);
}

std::string RecordToJson(const MetricRecord& record) {
  return fmt::format(
      R"({{"method":{},"name":{},"fields":{},"signature":{},"value":{},"received_ms":{}}})",
      JsonText(record.method), JsonText(record.name), JsonMap(record.fields),
      JsonText(record.signature), JsonText(record.value), record.received_ms);
}

}  // namespace orvane::testbed
