#ifndef DBUS_PROXIES_MANAGER_PROXY_H_
#define DBUS_PROXIES_MANAGER_PROXY_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "dbus_proxies/manager_proxy_interface.h"
#include "platform/bus/connection.h"
#include "platform/bus/object_proxy.h"

namespace org::velmora::ap::Quillary {

// Destroying it drops pending replies: their callbacks do not run.
class ManagerProxy : public ManagerProxyInterface {
 public:
  // Causes no bus traffic.
  ManagerProxy(std::shared_ptr<orvane::platform::bus::Connection> bus, std::string service_name);
  ~ManagerProxy() override;

  bool RecordMetric(const std::string& name, const StringMap& fields,
                    const orvane::platform::bus::Any& value, ErrorHolder error,
                    int timeout_ms) override;
  void RecordMetricAsync(const std::string& name, const StringMap& fields,
                         const orvane::platform::bus::Any& value, SuccessCallback on_success,
                         ErrorCallback on_error, int timeout_ms) override;
  bool RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder error,
                         int timeout_ms) override;
  void RecordOfflineDataAsync(const std::string& data_type, Bytes data, SuccessCallback on_success,
                              ErrorCallback on_error, int timeout_ms) override;
  bool RecordStructuredData(const std::string& data_type, Bytes data, ErrorHolder error,
                            int timeout_ms) override;
  void RecordStructuredDataAsync(const std::string& data_type, Bytes data,
                                 SuccessCallback on_success, ErrorCallback on_error,
                                 int timeout_ms) override;

  const std::string& GetObjectPath() const override { return object_path_; }
  orvane::platform::bus::ObjectProxy* GetObjectProxy() const override { return object_proxy_; }

 private:
  orvane::platform::bus::MethodCall NewMetricCall(const std::string& name, const StringMap& fields,
                                                  const orvane::platform::bus::Any& value) const;
  orvane::platform::bus::MethodCall NewDataCall(const char* method, const std::string& data_type,
                                                Bytes data) const;
  bool Call(orvane::platform::bus::MethodCall call, ErrorHolder error, int timeout_ms) const;
  void CallAsync(orvane::platform::bus::MethodCall call, SuccessCallback on_success,
                 ErrorCallback on_error, int timeout_ms);

  std::shared_ptr<orvane::platform::bus::Connection> bus_;
  std::string service_name_;
  const std::string object_path_{"/org/velmora/ap/Quillary/Manager"};
  orvane::platform::bus::ObjectProxy* object_proxy_;
  std::uint64_t next_call_number_ = 0;
  std::map<std::uint64_t, std::unique_ptr<orvane::platform::bus::PendingCall>> pending_calls_;
};

}  // namespace org::velmora::ap::Quillary

#endif  // DBUS_PROXIES_MANAGER_PROXY_H_
