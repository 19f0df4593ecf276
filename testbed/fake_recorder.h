#ifndef TESTBED_FAKE_RECORDER_H_
#define TESTBED_FAKE_RECORDER_H_

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "dbus_proxies/manager_proxy_interface.h"
#include "platform/error.h"
#include "platform/logging.h"

namespace orvane::testbed {

// A metrics recorder without a bus. It stores offline data; any other call aborts. Header only, so
// that the library does not depend on the clients of the services.
class FakeRecorder : public org::velmora::ap::Quillary::ManagerProxyInterface {
 public:
  struct Record {
    std::string data_type;
    std::string bytes;
    int timeout_ms;
  };

  const std::vector<Record>& records() const { return records_; }
  void Clear() { records_.clear(); }

  // Rejects all later records, with this error or without an error.
  void FailWith(std::string message) { failure_ = std::move(message); }
  void FailWithoutError() { fails_without_error_ = true; }
  // Sets a callback that runs before each answer.
  void OnRecord(std::function<void()> callback) { on_record_ = std::move(callback); }

  bool RecordOfflineData(const std::string& data_type, Bytes data, ErrorHolder error,
                         int timeout_ms) override {
    if (on_record_) on_record_();
    if (fails_without_error_) return false;
    if (!failure_.empty()) {
      platform::Error::AddTo(error, platform::kDBusErrorDomain, "org.example.Failed", failure_);
      return false;
    }
    records_.push_back({data_type, std::string(data.begin(), data.end()), timeout_ms});
    return true;
  }

  bool RecordMetric(const std::string&, const StringMap&, const platform::bus::Any&, ErrorHolder,
                    int) override {
    return Refuse();
  }
  void RecordMetricAsync(const std::string&, const StringMap&, const platform::bus::Any&,
                         SuccessCallback, ErrorCallback, int) override {
    Refuse();
  }
  void RecordOfflineDataAsync(const std::string&, Bytes, SuccessCallback, ErrorCallback,
                              int) override {
    Refuse();
  }
  bool RecordStructuredData(const std::string&, Bytes, ErrorHolder, int) override {
    return Refuse();
  }
  void RecordStructuredDataAsync(const std::string&, Bytes, SuccessCallback, ErrorCallback,
                                 int) override {
    Refuse();
  }
  const std::string& GetObjectPath() const override { return path_; }
  platform::bus::ObjectProxy* GetObjectProxy() const override { return nullptr; }

 private:
  static bool Refuse() {
    CHECK(false) << "The recorder is called in a way that the daemon does not use";
    return false;
  }

  std::vector<Record> records_;
  std::string failure_;
  bool fails_without_error_ = false;
  std::function<void()> on_record_;
  std::string path_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_FAKE_RECORDER_H_
