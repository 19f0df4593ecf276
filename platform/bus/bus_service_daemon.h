#ifndef PLATFORM_BUS_BUS_SERVICE_DAEMON_H_
#define PLATFORM_BUS_BUS_SERVICE_DAEMON_H_

#include <memory>
#include <string>

#include "platform/bus/connection.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/sd_event_loop.h"

namespace orvane::platform::bus {

// A daemon that owns a name on the system bus: its loop, its connection, and the order of its life.
//
// SIGTERM and SIGINT end the loop with exit code 0, and so does SIGHUP unless OnRestart handles it.
// Until the name is claimed there is nothing to clean up, and they end the process with exit code 0
// at once. After the first SIGTERM or SIGINT the next one kills the process, which may hang in a
// callback or while it shuts down.
//
// A lost bus connection ends the loop with kConnectionLostExitCode. SIGPIPE is ignored. The service
// manager, if there is one, gets notices of readiness and stopping, and watchdog notices if it
// wants them.
class BusServiceDaemon : private FdWatcher {
 public:
  BusServiceDaemon(std::string service_name, std::string object_path);
  BusServiceDaemon(const BusServiceDaemon&) = delete;
  BusServiceDaemon& operator=(const BusServiceDaemon&) = delete;
  ~BusServiceDaemon() override;

  // To be called as soon as the process begins: handles the signals that end it from then on, and
  // ignores SIGPIPE.
  static void HandleSignals();

  // Starts, serves until the end, stops. Returns the exit code of the process: that of OnInit, if
  // it isn't 0, else that of the loop as OnShutdown left it. To be called once.
  int Run();

 protected:
  // Connects to the system bus, publishes an object manager at the object path, and claims the
  // service name last, so that whoever waits for the name finds everything in place. Returns 0, or,
  // after an ERROR line that says why, EX_UNAVAILABLE. An override calls it first and returns its
  // result if that isn't 0; the loop does not run then.
  virtual int OnInit();

  // The loop has ended; the bus is still there. May change the exit code.
  virtual void OnShutdown(int* exit_code);

  // SIGHUP. Whether that has been dealt with; if not, the daemon ends as on SIGTERM.
  virtual bool OnRestart();

  SdEventLoop& loop() { return loop_; }
  // Null before OnInit.
  const std::shared_ptr<Connection>& bus() const { return bus_; }

 private:
  void EndLoopOnSignals();
  // A signal handler has asked for the end.
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
