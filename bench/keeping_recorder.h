#ifndef BENCH_KEEPING_RECORDER_H_
#define BENCH_KEEPING_RECORDER_H_

#include <string>

#include "dbus_proxies/manager_proxy_interface.h"

namespace orvane::bench {

// A recorder without a bus, which keeps the last record.
class KeepingRecorder : public org::velmora::ap::Quillary::ManagerProxyInterface {
 public:
  bool RecordMetric(const std::string& /*name*/, const StringMap& /*fields*/,
                    const platform::bus::Any& /*value*/, ErrorHolder /*error*/,
                    int /*timeout_ms*/) override {
    return true;
  }
  void RecordMetricAsync(const std::string& /*name*/, const StringMap& /*fields*/,
                         const platform::bus::Any& /*value*/, SuccessCallback /*on_success*/,
                         ErrorCallback /*on_error*/, int /*timeout_ms*/) override {}
  bool RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder /*error*/,
                         int /*timeout_ms*/) override {
    type = data_type;
    bytes.assign(data.begin(), data.end());
    return true;
  }
  void RecordOfflineDataAsync(const std::string& /*data_type*/, Bytes /*data*/,
                              SuccessCallback /*on_success*/, ErrorCallback /*on_error*/,
                              int /*timeout_ms*/) override {}
  bool RecordStructuredData(const std::string& /*data_type*/, Bytes /*data*/, ErrorHolder /*error*/,
                            int /*timeout_ms*/) override {
    return true;
  }
  void RecordStructuredDataAsync(const std::string& /*data_type*/, Bytes /*data*/,
                                 SuccessCallback /*on_success*/, ErrorCallback /*on_error*/,
                                 int /*timeout_ms*/) override {}
  const std::string& GetObjectPath() const override { return type; }
  platform::bus::ObjectProxy* GetObjectProxy() const override { return nullptr; }

  std::string type;
  std::string bytes;
};

}  // namespace orvane::bench

#endif  // BENCH_KEEPING_RECORDER_H_
