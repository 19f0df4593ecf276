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

// The manager object of the metrics recorder, which accepts metrics and serialised records. Each
// method has a blocking call, which holds the loop until the reply, and a non-blocking one.
//
// A blocking call returns true if the recorder accepted the record. Otherwise it returns false and
// adds an error to `error`, which may be null: domain platform::kDBusErrorDomain, code a D-Bus
// error name. A non-blocking call runs exactly one of its callbacks, on the loop. Time-outs are in
// milliseconds; kDefaultTimeout is the bus library's default.
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

  // `data_type` is the type of `data`; for a protobuf message it is a type URL.
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
