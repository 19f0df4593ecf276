#ifndef DBUS_PROXIES_MANAGER_PROXY_INTERFACE_H_
#define DBUS_PROXIES_MANAGER_PROXY_INTERFACE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "platform/bus/any.h"
#include "platform/error.h"

namespace orvane::platform::bus {
class ObjectProxy;
}

namespace org::velmora::ap::Quillary {

// The manager object of the metrics recorder, which takes metrics and serialised records for later
// upload. Each method has a call that waits for the reply, and holds the loop until then, and one
// that doesn't.
//
// Blocking calls return true when the recorder took the record; otherwise they return false and, if
// `error` is not null, add to it an error of the domain platform::kDBusErrorDomain whose code is a
// D-Bus error name. Non-blocking calls run exactly one of their callbacks, on the loop. Times are
// in milliseconds; kDefaultTimeout is the bus library's own.
class ManagerProxyInterface {
 public:
  using StringMap = std::map<std::string, std::string>;
  using Bytes = std::span<const std::uint8_t>;
  using ErrorHolder = std::unique_ptr<orvane::platform::Error>*;
  using SuccessCallback = std::function<void()>;
  using ErrorCallback = std::function<void(const orvane::platform::Error& error)>;

  static constexpr int kDefaultTimeout = -1;

  virtual ~ManagerProxyInterface() = default;

  virtual bool RecordMetric(const std::string& name, const StringMap& fields,
                            const orvane::platform::bus::Any& value, ErrorHolder error,
                            int timeout_ms) = 0;
  virtual void RecordMetricAsync(const std::string& name, const StringMap& fields,
                                 const orvane::platform::bus::Any& value,
                                 SuccessCallback on_success, ErrorCallback on_error,
                                 int timeout_ms) = 0;

  // `data_type` says what the bytes of `data` are; for a protobuf message it is a type URL.
  virtual bool RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder error,
                                 int timeout_ms) = 0;
  virtual void RecordOfflineDataAsync(const std::string& data_type, Bytes data,
                                      SuccessCallback on_success, ErrorCallback on_error,
                                      int timeout_ms) = 0;

  virtual bool RecordStructuredData(const std::string& data_type, Bytes data, ErrorHolder error,
                                    int timeout_ms) = 0;
  virtual void RecordStructuredDataAsync(const std::string& data_type, Bytes data,
                                         SuccessCallback on_success, ErrorCallback on_error,
                                         int timeout_ms) = 0;

  virtual const std::string& GetObjectPath() const = 0;
  virtual orvane::platform::bus::ObjectProxy* GetObjectProxy() const = 0;
};

}  // namespace org::velmora::ap::Quillary

#endif  // DBUS_PROXIES_MANAGER_PROXY_INTERFACE_H_
