#ifndef PLATFORM_BUS_BUS_SERVICE_DAEMON_H_
#define PLATFORM_BUS_BUS_SERVICE_DAEMON_H_

#include <memory>
#include <string>

#include "platform/bus/connection.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/sd_event_loop.h"

namespace orvane::platform::bus {

// A daemon that owns a name on the system bus. It has the loop and the connection, and controls
// start and end.
//
// SIGTERM and SIGINT end the loop with exit code 0, and so does SIGHUP unless OnRestart handles it.
// Before the name is claimed they end the process at once with exit code 0, since there is nothing
// to clean up. After the first SIGTERM or SIGINT the next one kills the process, which may hang in
// a callback or during its shutdown.
//
// A lost bus connection ends the loop with kConnectionLostExitCode. SIGPIPE is ignored. The service
// manager, if present, gets readiness and stopping notices, and watchdog notices if it wants them.
class BusServiceDaemon : private FdWatcher {
 public:
  BusServiceDaemon(std::string service_name, std::string object_path);
  BusServiceDaemon(const BusServiceDaemon&) = delete;
  BusServiceDaemon& operator=(const BusServiceDaemon&) = delete;
  ~BusServiceDaemon() override;

  // Installs the handlers of the signals that end the process, and ignores SIGPIPE. Must be called
  // as early as possible.
  static void HandleSignals();

  // Runs the daemon: OnInit, the loop, OnShutdown. Must be called once. Returns the exit code: the
  // result of OnInit if it is not 0, else that of the loop, which OnShutdown may change.
  int Run();

 protected:
  // Connects to the system bus, publishes an object manager at the object path, and claims the
  // service name last, so that clients that wait for the name find everything in place. Returns 0.
  // On failure logs an ERROR line with the reason and returns EX_UNAVAILABLE. An override calls it
  // first and returns its result if that is not 0; the loop does not run then.
  virtual int OnInit();

  // Called after the loop has ended, with the bus still connected. May change the exit code.
  virtual void OnShutdown(int* exit_code);

  // Handles SIGHUP. Returns whether it was handled; if not, the daemon ends as on SIGTERM.
  virtual bool OnRestart();

  SdEventLoop& loop() { return loop_; }
  // Null before OnInit.
  const std::shared_ptr<Connection>& bus() const { return bus_; }

 private:
  void EndLoopOnSignals();
  // Called when a signal handler has requested the end.
  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

  SdEventLoop loop_;
  ScopedFd end_fd_;
  std::unique_ptr<FdWatch> end_watch_;
  std::string service_name_;
  std::string object_path_;
  std::shared_ptr<Connection> bus_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_BUS_SERVICE_DAEMON_H_
