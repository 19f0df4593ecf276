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

}  // namespace

// sd-bus checks replies against the declared type.
MetricsRecorder::Vtable MetricsRecorder::MakeVtable(const char* reply_type) {
  return {{
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("RecordOfflineData", "say", reply_type, &MetricsRecorder::OnRecord,
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
  return peer_.Claim(platform::TimeSpan::zero(),
                     [this] { tell_(fmt::format("started as {}", kName)); });
}

void MetricsRecorder::DieIfDue() {
  if (++calls_ != options_.die_in_call) return;
  tell_(fmt::format("dying in call {}", calls_));
  std::_Exit(kExitFailure);
}

int MetricsRecorder::OnRecord(sd_bus_message* call, void* self, sd_bus_error* /*error*/) noexcept {
  auto* recorder = static_cast<MetricsRecorder*>(self);
  recorder->DieIfDue();
  const char* type = nullptr;
  const void* bytes = nullptr;
  std::size_t length = 0;
  MustSucceed(sd_bus_message_read(call, "s", &type));
  MustSucceed(sd_bus_message_read_array(call, SD_BUS_TYPE_BYTE, &bytes, &length));
  recorder->Take({.type = type, .data = std::string(static_cast<const char*>(bytes), length)});
  recorder->ReplyLater(call);
  return 1;
}

void MetricsRecorder::Take(const DataRecord& record) {
  const auto now =
      std::chrono::floor<std::chrono::milliseconds>(loop_.Now().time_since_epoch()).count();
  tell_(fmt::format("record {} at {} ms: {} bytes of {}", calls_, now, record.data.size(),
                    record.type));
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
