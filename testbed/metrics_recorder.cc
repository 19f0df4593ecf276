#include "testbed/metrics_recorder.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr char kPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";

template <typename T>
std::string ReadNumber(sd_bus_message* message, char type) {
  T value{};
  MustSucceed(sd_bus_message_read_basic(message, type, &value));
  return fmt::format("{}", value);
}

std::string ReadBoolean(sd_bus_message* message, char type) {
  int value = 0;
  MustSucceed(sd_bus_message_read_basic(message, type, &value));
  return value != 0 ? "true" : "false";
}

std::string ReadText(sd_bus_message* message, char type) {
  const char* value = nullptr;
  MustSucceed(sd_bus_message_read_basic(message, type, &value));
  return value;
}

struct BasicType {
  std::string_view signature;
  std::string (*read)(sd_bus_message* message, char type);
};
constexpr std::array<BasicType, 12> kBasicTypes = {{
    {"y", &ReadNumber<std::uint8_t>},
    {"b", &ReadBoolean},
    {"n", &ReadNumber<std::int16_t>},
    {"q", &ReadNumber<std::uint16_t>},
    {"i", &ReadNumber<std::int32_t>},
    {"u", &ReadNumber<std::uint32_t>},
    {"x", &ReadNumber<std::int64_t>},
    {"t", &ReadNumber<std::uint64_t>},
    {"d", &ReadNumber<double>},
    {"s", &ReadText},
    {"o", &ReadText},
    {"g", &ReadText},
}};

void ReadFields(sd_bus_message* message, std::map<std::string, std::string>* fields) {
  MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{ss}"));
  const char* key = nullptr;
  const char* value = nullptr;
  for (;;) {
    const int result = sd_bus_message_read(message, "{ss}", &key, &value);
    MustSucceed(result);
    if (result == 0) break;
    fields->emplace(key, value);
  }
  MustSucceed(sd_bus_message_exit_container(message));
}

void ReadValue(sd_bus_message* message, MetricRecord* record) {
  const char* contents = nullptr;
  MustSucceed(sd_bus_message_peek_type(message, nullptr, &contents));
  record->signature = contents;
  for (const BasicType& type : kBasicTypes) {
    if (type.signature != record->signature) continue;
    MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, contents));
    record->value = type.read(message, type.signature.front());
    MustSucceed(sd_bus_message_exit_container(message));
  }
}

std::int64_t NowInMilliseconds(const platform::Loop& loop) {
  return std::chrono::floor<std::chrono::milliseconds>(loop.Now().time_since_epoch()).count();
}

}  // namespace

// sd-bus checks replies against the declared type.
MetricsRecorder::Vtable MetricsRecorder::MakeVtable(const char* reply_type) {
  return {{
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("RecordMetric", "sa{ss}v", reply_type, &MetricsRecorder::OnRecordMetric,
                    SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("RecordOfflineData", "say", reply_type, &MetricsRecorder::OnRecordData,
                    SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("RecordStructuredData", "say", reply_type, &MetricsRecorder::OnRecordData,
                    SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  }};
}

MetricsRecorder::MetricsRecorder(platform::SdEventLoop& loop, MetricsRecorderOptions options,
                                 LineSink tell)
    : options_(std::move(options)),
      tell_(std::move(tell)),
      loop_(loop),
      vtable_(MakeVtable(options_.extra_data ? "s" : "")),
      peer_(loop, kName) {
  if (options_.keep) store_.emplace(*options_.keep);
}

Failure MetricsRecorder::Start() {
  if (store_) {
    if (Failure failure = store_->Open()) return failure;
  }
  if (Failure failure = peer_.Connect()) return failure;
  sd_bus_slot* slot = nullptr;
  MustSucceed(
      sd_bus_add_object_vtable(peer_.bus(), &slot, kPath, kInterface, vtable_.data(), this));
  vtable_slot_.reset(slot);
  return peer_.Claim(options_.late, [this] { TellStatus(fmt::format("started as {}", kName)); });
}

void MetricsRecorder::TellStatus(const std::string& text) {
  tell_(options_.json ? fmt::format(R"({{"status":"{}"}})", text) : text);
}

void MetricsRecorder::DieIfDue() {
  if (++calls_ != options_.die_in_call) return;
  TellStatus(fmt::format("dying in call {}", calls_));
  std::_Exit(kExitFailure);
}

int MetricsRecorder::OnRecordMetric(sd_bus_message* call, void* self,
                                    sd_bus_error* /*error*/) noexcept {
  auto* recorder = static_cast<MetricsRecorder*>(self);
  recorder->DieIfDue();
  MetricRecord record;
  record.method = sd_bus_message_get_member(call);
  record.received_ms = NowInMilliseconds(recorder->loop_);
  const char* name = nullptr;
  MustSucceed(sd_bus_message_read(call, "s", &name));
  record.name = name;
  ReadFields(call, &record.fields);
  ReadValue(call, &record);
  recorder->tell_(recorder->options_.json ? RecordToJson(record) : DescribeRecord(record));
  recorder->ReplyLater(call);
  return 1;
}

int MetricsRecorder::OnRecordData(sd_bus_message* call, void* self,
                                  sd_bus_error* /*error*/) noexcept {
  auto* recorder = static_cast<MetricsRecorder*>(self);
  recorder->DieIfDue();
  const char* type = nullptr;
  const void* bytes = nullptr;
  std::size_t length = 0;
  MustSucceed(sd_bus_message_read(call, "s", &type));
  MustSucceed(sd_bus_message_read_array(call, SD_BUS_TYPE_BYTE, &bytes, &length));
  recorder->Take({.method = sd_bus_message_get_member(call),
                  .type = type,
                  .data = std::string(static_cast<const char*>(bytes), length),
                  .received_ms = NowInMilliseconds(recorder->loop_)});
  recorder->ReplyLater(call);
  return 1;
}

void MetricsRecorder::Take(const DataRecord& record) {
  tell_(options_.json ? RecordToJson(record) : DescribeRecord(record));
  if (!store_) return;
  if (const Failure failure = store_->Keep(record)) LOG(ERROR) << *failure;
}

void MetricsRecorder::ReplyLater(sd_bus_message* call) {
  if (options_.delay.count() == 0) {
    Reply(call);
    return;
  }
  loop_.PostDelayedTask(
      [recorder = weak_factory_.GetWeakPtr(), kept = KeepMessage(call)] {
        if (recorder) recorder->Reply(kept.get());
      },
      options_.delay);
}

void MetricsRecorder::Reply(sd_bus_message* call) {
  sd_bus_message* reply = nullptr;
  if (!options_.error.empty()) {
    MustSucceed(
        sd_bus_message_new_method_errorf(call, &reply, options_.error.c_str(), "As asked for"));
  } else {
    MustSucceed(sd_bus_message_new_method_return(call, &reply));
    if (options_.extra_data) MustSucceed(sd_bus_message_append(reply, "s", "more than asked for"));
  }
  peer_.Send(reply);
}

}  // namespace orvane::testbed
