#include "recorder/recorder_daemon.h"

#include <sysexits.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/logging.h"

namespace orvane::recorder {
namespace {

namespace bus = platform::bus;

constexpr char kServiceName[] = "org.velmora.ap.Quillary";
constexpr char kServicePath[] = "/org/velmora/ap/Quillary";
constexpr char kManagerPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";

}  // namespace

RecorderDaemon::RecorderDaemon(RecorderOptions options)
    : BusServiceDaemon(kServiceName, kServicePath), options_(std::move(options)) {}

// The name is claimed before the database is opened, so that only one of two recorders opens it.
// Calls that arrive after that wait for the loop, so they find the object.
int RecorderDaemon::OnInit() {
  if (const int exit_code = BusServiceDaemon::OnInit(); exit_code != 0) return exit_code;
  recorder_.emplace(loop(), options_);
  recorder_->Start();
  object_.emplace(*bus(), kManagerPath, kInterface);
  const auto on_data = [this](bus::MessageReader& arguments, bus::ErrorHolder error) {
    return OnData(arguments, error);
  };
  object_->AddMethod("RecordOfflineData", "say", on_data);
  object_->AddMethod("RecordStructuredData", "say", on_data);
  object_->AddMethod("RecordMetric", "sa{ss}v",
                     [this](bus::MessageReader& arguments, bus::ErrorHolder error) {
                       return OnMetric(arguments, error);
                     });
  std::unique_ptr<platform::Error> error;
  if (object_->Export(&error)) return 0;
  LOG(ERROR) << "Failed to publish the recorder: " << error->message();
  return EX_UNAVAILABLE;
}

void RecorderDaemon::OnShutdown(int* /*exit_code*/) { recorder_->Stop(); }

// The library has checked the types of the arguments, except the contents of the variant.

bool RecorderDaemon::OnData(bus::MessageReader& arguments, bus::ErrorHolder error) {
  const std::string type(arguments.PopString().value_or(""));
  return recorder_->RecordData(type, arguments.PopBytes().value_or(bus::Bytes()), error);
}

bool RecorderDaemon::OnMetric(bus::MessageReader& arguments, bus::ErrorHolder error) {
  const std::string name(arguments.PopString().value_or(""));
  bus::StringMap fields;
  arguments.PopStringMap(&fields);
  if (const auto value = arguments.PopVariant()) {
    return recorder_->RecordMetric(name, fields, *value, error);
  }
  platform::Error::AddTo(error, platform::kDBusErrorDomain, SD_BUS_ERROR_INVALID_ARGS,
                         "the value of a metric must be a boolean, a number or a string");
  return false;
}

}  // namespace orvane::recorder
