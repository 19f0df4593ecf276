#include "dbus_proxies/manager_proxy.h"

#include <utility>

namespace org::velmora::ap::Quillary {
namespace {

namespace bus = orvane::platform::bus;
using orvane::platform::Error;

constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";

}  // namespace

ManagerProxy::ManagerProxy(std::shared_ptr<bus::Connection> bus, std::string service_name)
    : bus_(std::move(bus)),
      service_name_(std::move(service_name)),
      object_proxy_(bus_->GetObjectProxy(service_name_, object_path_)) {}

ManagerProxy::~ManagerProxy() = default;

bus::MethodCall ManagerProxy::NewMetricCall(const std::string& name, const StringMap& fields,
                                            const bus::Any& value) const {
  bus::MethodCall call = object_proxy_->NewMethodCall(kInterface, "RecordMetric");
  call.writer().AppendString(name);
  call.writer().AppendStringMap(fields);
  call.writer().AppendVariant(value);
  return call;
}

bus::MethodCall ManagerProxy::NewDataCall(const char* method, const std::string& data_type,
                                          Bytes data) const {
  bus::MethodCall call = object_proxy_->NewMethodCall(kInterface, method);
  call.writer().AppendString(data_type);
  call.writer().AppendBytes(data);
  return call;
}

bool ManagerProxy::Call(bus::MethodCall call, ErrorHolder error, int timeout_ms) const {
  const bus::MessagePtr reply = object_proxy_->CallAndWait(std::move(call), timeout_ms, error);
  return reply != nullptr && bus::CheckNoMoreArguments(reply.get(), error);
}

void ManagerProxy::CallAsync(bus::MethodCall call, SuccessCallback on_success,
                             ErrorCallback on_error, int timeout_ms) {
  const std::uint64_t number = next_call_number_++;
  auto on_reply = [this, number, on_success = std::move(on_success),
                   on_error = std::move(on_error)](sd_bus_message* reply, const Error* error) {
    const auto finished = pending_calls_.extract(number);
    std::unique_ptr<Error> reply_error;
    if (error != nullptr) {
      on_error(*error);
    } else if (!bus::CheckNoMoreArguments(reply, &reply_error)) {
      on_error(*reply_error);
    } else {
      on_success();
    }
  };
  pending_calls_[number] =
      object_proxy_->CallAsync(std::move(call), timeout_ms, std::move(on_reply));
}

bool ManagerProxy::RecordMetric(const std::string& name, const StringMap& fields,
                                const bus::Any& value, ErrorHolder error, int timeout_ms) {
  return Call(NewMetricCall(name, fields, value), error, timeout_ms);
}

void ManagerProxy::RecordMetricAsync(const std::string& name, const StringMap& fields,
                                     const bus::Any& value, SuccessCallback on_success,
                                     ErrorCallback on_error, int timeout_ms) {
  CallAsync(NewMetricCall(name, fields, value), std::move(on_success), std::move(on_error),
            timeout_ms);
}

bool ManagerProxy::RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder error,
                                     int timeout_ms) {
  return Call(NewDataCall("RecordOfflineData", data_type, data), error, timeout_ms);
}

void ManagerProxy::RecordOfflineDataAsync(const std::string& data_type, Bytes data,
                                          SuccessCallback on_success, ErrorCallback on_error,
                                          int timeout_ms) {
  CallAsync(NewDataCall("RecordOfflineData", data_type, data), std::move(on_success),
            std::move(on_error), timeout_ms);
}

bool ManagerProxy::RecordStructuredData(const std::string& data_type, Bytes data, ErrorHolder error,
                                        int timeout_ms) {
  return Call(NewDataCall("RecordStructuredData", data_type, data), error, timeout_ms);
}

void ManagerProxy::RecordStructuredDataAsync(const std::string& data_type, Bytes data,
                                             SuccessCallback on_success, ErrorCallback on_error,
                                             int timeout_ms) {
  CallAsync(NewDataCall("RecordStructuredData", data_type, data), std::move(on_success),
            std::move(on_error), timeout_ms);
}

}  // namespace org::velmora::ap::Quillary
