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

// Sanitizers cost time and memory, which some tests measure.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

// What the metrics recorder received.
struct Record {
  std::string type;
  std::string bytes;
  access_infrastructure::proto::Event event;  // the decoded bytes
};

using Arguments = ChildProcess::Arguments;
using Environment = ChildProcess::Environment;

// An access point around the real daemon: a private bus, services on it, hostapd stand-ins, and the
// daemon as a process. The caller starts the parts it needs, in any order. The destructor ends all
// of them, and prints the daemon's log if an expectation has failed.
//
// The daemon's paths are fixed: use this class in a private namespace
// (testbed/private_namespace.h), one instance at a time.
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

  // The flags service. Returns when it has its name, unless options make it late.
  void StartFlags(const FlagMap& flags, const Arguments& options = {});
  void StopFlags() { flags_.reset(); }
  // Rewrites the published flags. The service signals the change.
  void SetFlags(const FlagMap& flags);
  ChildProcess& flags_service() { return *flags_; }

  // The metrics recorder. Returns when it has its name.
  void StartRecorder(const Arguments& options = {});
  void StopRecorder() { recorder_.reset(); }
  ChildProcess& recorder() { return *recorder_; }
  // Returns record `number`, counted from 1.
  Record WaitForRecord(std::size_t number);
  // Returns when the running recorder received this record, in milliseconds since the Unix epoch.
  std::int64_t ReceivedMs(std::size_t number);
  bool HasRecord(std::size_t number) const;
  std::size_t RecordCount() const;

  // The command that runs instead of the daemon's program; the daemon's arguments are appended.
  void set_daemon_command(const Arguments& command) { daemon_command_ = command; }

  // Starts the daemon and waits until it reports readiness.
  void StartDaemon(const Arguments& arguments = {}, const Environment& environment = {});
  // Starts the daemon without waiting.
  void LaunchDaemon(const Arguments& arguments = {}, const Environment& environment = {});
  // Serves the sockets of both interfaces.
  void StartHostapds();
  // Starts bus, recorder, salt, the daemon (with --v=1 and an upload period of one second before
  // `arguments`), and hostapd attached on both interfaces.
  void StartAll(const Arguments& arguments = {});
  ChildProcess& daemon() { return *daemon_; }
  Hostapd& wlan2400() { return *wlan2400_; }
  Hostapd& wlan5000() { return *wlan5000_; }

  // Returns the next notice to the service manager.
  std::string NextNotice(Milliseconds timeout = kPatience);

  // Sends an unknown event line and waits until the daemon has logged it. It has then processed
  // everything sent before.
  void Settle(Hostapd& hostapd);
  // Stops the daemon's process with SIGSTOP. After Release the daemon sees everything that happened
  // in between at once. To avoid a refused connection, start a Hostapd while the daemon is held:
  // the file of a socket exists shortly before the socket accepts connections.
  void Hold();
  void Release() { daemon().Signal(SIGCONT); }

  // Sends the signal and expects exit code 0 before a call on the bus could time out.
  void ExpectQuickExit(int signal_number);
  // Expects the daemon to end by SIGABRT with this text on standard error.
  void ExpectAbort(std::string_view text);
  void ExpectExit(int code, std::chrono::seconds patience = kPatience);

  // The daemon's log. LogCount and ExpectLogged compare whole texts.
  std::vector<LogLine> Log() { return ParseLog(daemon().err().Text()); }
  std::size_t LogCount(std::string_view severity, std::string_view text);
  // Waits until the line has been logged `count` times in total.
  void ExpectLogged(std::string_view severity, std::string_view text, std::size_t count = 1);
  // Returns the lines of this severity, except those about nl80211, which some machines lack.
  std::vector<std::string> LogTexts(std::string_view severity);

  // Returns whether the daemon handles the signal at the moment.
  bool CatchesSignal(int signal_number);

  // Returns the number of open descriptors of the idle daemon. (Without a system log, each log line
  // opens one for a moment.)
  std::size_t DescriptorCount();
  // Returns a memory value from /proc/PID/status, for example "VmSize".
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

// A fixture with an access point.
class AccessPointTest : public ::testing::Test {
 protected:
  AccessPoint ap_;
};

// Writes the salt file of the daemon.
void WriteSalt(std::string_view salt);

// Runs a program to its end. Returns its standard output.
std::string OutputOf(const ChildProcess::Arguments& arguments);

}  // namespace orvane::testbed

#endif  // TESTBED_ACCESS_POINT_H_
