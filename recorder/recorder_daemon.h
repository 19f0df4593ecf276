#ifndef RECORDER_RECORDER_DAEMON_H_
#define RECORDER_RECORDER_DAEMON_H_

#include <optional>

#include "platform/bus/bus_service_daemon.h"
#include "platform/bus/exported_object.h"
#include "platform/bus/messages.h"
#include "recorder/recorder.h"

namespace orvane::recorder {

// The metrics recorder: receives records on the system bus and stores them.
class RecorderDaemon : public platform::bus::BusServiceDaemon {
 public:
  explicit RecorderDaemon(RecorderOptions options);

 protected:
  int OnInit() override;
  void OnShutdown(int* exit_code) override;

 private:
  bool OnData(platform::bus::MessageReader& arguments, platform::bus::ErrorHolder error);
  bool OnMetric(platform::bus::MessageReader& arguments, platform::bus::ErrorHolder error);

  RecorderOptions options_;
  std::optional<Recorder> recorder_;
  std::optional<platform::bus::ExportedObject> object_;
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORDER_DAEMON_H_
