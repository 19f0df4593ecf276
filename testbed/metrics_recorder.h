#ifndef TESTBED_METRICS_RECORDER_H_
#define TESTBED_METRICS_RECORDER_H_

#include <systemd/sd-bus.h>

#include <array>
#include <optional>
#include <string>

#include "platform/files.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"
#include "testbed/bus_peer.h"
#include "testbed/failure.h"
#include "testbed/program.h"
#include "testbed/record_store.h"

namespace orvane::testbed {

struct MetricsRecorderOptions {
  std::optional<platform::FilePath> keep;  // directory in which the bytes of records are stored

  // Faults.
  platform::TimeSpan delay{0};  // delay of every reply
  std::string error;            // name of the error that is every reply; empty: none
  bool extra_data = false;      // replies contain a string
  int die_in_call = 0;          // the process ends in this call, counted from 1; 0: none
};

// A metrics recorder that stores and prints what it receives from the daemon, and can misbehave. It
// has only the method that the daemon calls.
//
// Prints the lines "started as NAME", "dying in call N", and for each record, counted from 1,
// "record N at T ms: SIZE bytes of TYPE", where T is the time since the Unix epoch.
class MetricsRecorder {
 public:
  MetricsRecorder(platform::SdEventLoop& loop, MetricsRecorderOptions options, LineSink tell);

  [[nodiscard]] Failure Start();

 private:
  using Vtable = std::array<sd_bus_vtable, 3>;

  static Vtable MakeVtable(const char* reply_type);
  static int OnRecord(sd_bus_message* call, void* self, sd_bus_error* error) noexcept;

  void DieIfDue();
  void Take(const DataRecord& record);
  void ReplyLater(sd_bus_message* call);
  void Reply(sd_bus_message* call);

  MetricsRecorderOptions options_;
  LineSink tell_;
  platform::SdEventLoop& loop_;
  std::optional<RecordStore> store_;
  int calls_ = 0;
  const Vtable vtable_;
  BusPeer peer_;
  platform::bus::SlotPtr vtable_slot_;
  platform::WeakPtrFactory<MetricsRecorder> weak_factory_{this};
};

}  // namespace orvane::testbed

#endif  // TESTBED_METRICS_RECORDER_H_
