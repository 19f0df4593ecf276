#ifndef TESTBED_ACCESS_POINT_H_
#define TESTBED_ACCESS_POINT_H_

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "event.pb.h"
#include "platform/files.h"
#include "testbed/child_process.h"
#include "testbed/control_socket.h"
#include "testbed/daemon_log.h"
#include "testbed/flags_file.h"
#include "testbed/hostapd.h"
#include "testbed/private_bus.h"
#include "testbed/temporary_directory.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

inline constexpr char kSalt[] = "a salt of the test's";
inline constexpr char kSaltFile[] = "/var/lib/ap/monitor/station_id_salt";
inline constexpr char kEventTypeUrl[] =
    "type." WAVELARK_TYPE_URL_DOMAIN "/access_infrastructure.proto.Event";

// Sanitizers take time and memory, of which some tests measure.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

// What the metrics recorder was given.
struct Record {
  std::string type;
  std::string bytes;
  access_infrastructure::proto::Event event;  // the bytes decoded
};

using Arguments = ChildProcess::Arguments;
using Environment = ChildProcess::Environment;

// An access point around the real daemon: a private bus, stand-ins for the services on it, hostapd,
// and the daemon itself as a process. Its owner starts what it needs, in the order it wants.
// Everything ends with this object, which prints the daemon's log if an expectation has failed.
//
// The daemon's paths are fixed: use it in a private namespace (testbed/private_namespace.h), and
// one at a time.
class AccessPoint {
 public:
  using Milliseconds = std::chrono::milliseconds;

  AccessPoint();
  AccessPoint(const AccessPoint&) = delete;
  AccessPoint& operator=(const AccessPoint&) = delete;
  ~AccessPoint();

  // The system bus.
  void StartBus();
  PrivateBus& bus() { return *bus_; }

  // The flags service; returns when it has its name, unless that comes late.
  void StartFlags(const FlagMap& flags, const Arguments& options = {});
  void StopFlags() { flags_.reset(); }
  // Rewrites what it publishes, which it signals.
  void SetFlags(const FlagMap& flags);
  ChildProcess& flags_service() { return *flags_; }

  // The metrics recorder; returns when it has its name.
  void StartRecorder(const Arguments& options = {});
  void StopRecorder() { recorder_.reset(); }
  ChildProcess& recorder() { return *recorder_; }
  // The record of this number, counted from 1.
  Record WaitForRecord(std::size_t number);
  // When the recorder that runs got its record of this number, in milliseconds since the Unix
  // epoch.
  std::int64_t ReceivedMs(std::size_t number);
  bool HasRecord(std::size_t number) const;
  std::size_t RecordCount() const;

  // What to start in place of the daemon's own program; arguments come behind it.
  void set_daemon_command(const Arguments& command) { daemon_command_ = command; }

  // Starts the daemon and waits until it says that it is ready.
  void StartDaemon(const Arguments& arguments = {}, const Environment& environment = {});
  // Doesn't wait.
  void LaunchDaemon(const Arguments& arguments = {}, const Environment& environment = {});
  // Serves both interfaces.
  void StartHostapds();
  // Bus, recorder, salt, daemon (--v=1 and an upload period of one second come before `arguments`),
  // and hostapd attached on both interfaces.
  void StartAll(const Arguments& arguments = {});
  ChildProcess& daemon() { return *daemon_; }
  Hostapd& wlan2400() { return *wlan2400_; }
  Hostapd& wlan5000() { return *wlan5000_; }

  // The next notice to the service manager.
  std::string NextNotice(Milliseconds timeout = kPatience);

  // Sends an event line that nobody knows, and waits until the daemon has told so: it has taken all
  // that was sent before.
  void Settle(Hostapd& hostapd);
  // Stops the daemon's process and returns when it has stopped. After Release the daemon finds all
  // that happened meanwhile at once. Start a Hostapd while the daemon is held if it must not be
  // refused: the file of a socket exists a moment before the socket accepts connections.
  void Hold();
  void Release() { daemon().Signal(SIGCONT); }

  // Signals it and expects a good end before a call on the bus could time out.
  void ExpectQuickExit(int signal_number);
  // Expects it to end by SIGABRT with this text on standard error.
  void ExpectAbort(std::string_view text);
  void ExpectExit(int code, std::chrono::seconds patience = kPatience);

  // The daemon's log. A line is the same when all of its text is.
  std::vector<LogLine> Log() { return ParseLog(daemon().err().Text()); }
  std::size_t LogCount(std::string_view severity, std::string_view text);
  // Waits until the line is there `count` times in all.
  void ExpectLogged(std::string_view severity, std::string_view text, std::size_t count = 1);
  // Those of this severity; lines about nl80211, which a machine may lack, left out.
  std::vector<std::string> LogTexts(std::string_view severity);

  // Whether the daemon has a handler for the signal at the moment.
  bool CatchesSignal(int signal_number);

  // How many descriptors it has when it has nothing to do. (Each line of the log opens one for a
  // moment where there is no system log.)
  std::size_t DescriptorCount();
  // What /proc tells of its memory under a key, as "VmSize".
  std::int64_t StatusKilobytes(std::string_view key);
  std::int64_t ResidentKilobytes() { return StatusKilobytes("VmRSS"); }

  const platform::FilePath& directory() const { return directory_.path(); }

 private:
  platform::FilePath RecordPath(std::size_t number) const;

  TemporaryDirectory directory_;
  ControlSocket notify_socket_{directory() / "notify"};
  std::optional<PrivateBus> bus_;
  std::unique_ptr<ChildProcess> flags_;
  std::unique_ptr<ChildProcess> recorder_;
  std::unique_ptr<Hostapd> wlan2400_;
  std::unique_ptr<Hostapd> wlan5000_;
  int settle_count_ = 0;
  Arguments daemon_command_ = {AP_WAVELARK_PATH};
  std::unique_ptr<ChildProcess> daemon_;
};

// A test with an access point of its own.
class AccessPointTest : public ::testing::Test {
 protected:
  AccessPoint ap_;
};

// Writes the file that the daemon salts identifiers with.
void WriteSalt(std::string_view salt);

// Runs a program to its end. What it wrote to standard output.
std::string OutputOf(const ChildProcess::Arguments& arguments);

}  // namespace orvane::testbed

#endif  // TESTBED_ACCESS_POINT_H_
