#ifndef TESTBED_FLAGS_SERVICE_H_
#define TESTBED_FLAGS_SERVICE_H_

#include <systemd/sd-bus.h>

#include <string>

#include "platform/files.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"
#include "testbed/bus_peer.h"
#include "testbed/failure.h"
#include "testbed/file_watch.h"
#include "testbed/flags_file.h"
#include "testbed/flags_message.h"
#include "testbed/program.h"

namespace orvane::testbed {

struct FlagsServiceOptions {
  platform::FilePath file;

  // Faults.
  platform::TimeSpan late{0};          // delay before the name is claimed
  platform::TimeSpan answer_delay{0};  // delay of every answer
  std::string error;                   // name of the error that is every answer; empty: none
  FlagsEncoding encoding;              // for answers and signals
};

// A service that publishes the access point's run-time switches from a file (see ParseFlagsFile; a
// missing file is an empty map). When the file changes, the service reads it and signals the new
// map.
//
// Prints: "read N flags from FILE" or "read 0 flags: FILE is not there", "FILE line N: PROBLEM",
// "started as NAME", "asked by CLIENT: MEMBER", "signalled N flags".
class FlagsService {
 public:
  FlagsService(platform::SdEventLoop& loop, FlagsServiceOptions options, LineSink tell);

  [[nodiscard]] Failure Start();

  const FlagMap& flags() const { return flags_; }

 private:
  static int OnPropertiesCall(sd_bus_message* call, void* self, sd_bus_error* error) noexcept;
  static int OnGetProperty(sd_bus* bus, const char* path, const char* interface,
                           const char* property, sd_bus_message* reply, void* self,
                           sd_bus_error* error) noexcept;

  void ReadFile();
  void OnFileChanged();
  void AnswerLater(sd_bus_message* call, const std::string& member);
  void Answer(sd_bus_message* call, const std::string& member);
  void SignalFlags();

  static const sd_bus_vtable kVtable[];

  FlagsServiceOptions options_;
  LineSink tell_;
  FlagMap flags_;
  platform::SdEventLoop& loop_;
  BusPeer peer_;
  platform::bus::SlotPtr object_slot_;
  platform::bus::SlotPtr vtable_slot_;
  FileWatch watch_;
  platform::WeakPtrFactory<FlagsService> weak_factory_{this};
};

}  // namespace orvane::testbed

#endif  // TESTBED_FLAGS_SERVICE_H_
