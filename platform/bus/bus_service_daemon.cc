#include "platform/bus/bus_service_daemon.h"

#include <signal.h>
#include <sysexits.h>
#include <systemd/sd-daemon.h>

#include <utility>

#include "platform/logging.h"

namespace orvane::platform::bus {

BusServiceDaemon::BusServiceDaemon(std::string service_name, std::string object_path)
    : service_name_(std::move(service_name)), object_path_(std::move(object_path)) {}

BusServiceDaemon::~BusServiceDaemon() = default;

void BusServiceDaemon::HoldSignals() {
  signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, number);
  CHECK(sigprocmask(SIG_BLOCK, &signals, nullptr) == 0);
}

int BusServiceDaemon::Run() {
  HoldSignals();
  RegisterSignalHandlers();
  if (const int result = OnInit(); result != 0) return result;
  sd_notify(/*unset_environment=*/0, "READY=1");
  loop_.EnableWatchdog();
  int exit_code = loop_.Run();
  sd_notify(/*unset_environment=*/0, "STOPPING=1");
  OnShutdown(&exit_code);
  return exit_code;
}

void BusServiceDaemon::RegisterSignalHandlers() {
  for (const int number : {SIGTERM, SIGINT}) {
    loop_.HandleSignal(number, [this] { loop_.Quit(0); });
  }
  loop_.HandleSignal(SIGHUP, [this] {
    if (!OnRestart()) loop_.Quit(0);
  });
}

int BusServiceDaemon::OnInit() {
  std::unique_ptr<Error> error;
  bus_ = Connection::OpenSystemBus(loop_, &error);
  if (bus_ == nullptr) {
    LOG(ERROR) << "Failed to connect to the system bus: " << error->message();
    return EX_UNAVAILABLE;
  }
  if (!bus_->ExportObjectManager(object_path_, &error)) {
    LOG(ERROR) << "Failed to publish the object manager at " << object_path_ << ": "
               << error->message();
    return EX_UNAVAILABLE;
  }
  if (!bus_->RequestName(service_name_, &error)) {
    LOG(ERROR) << "Failed to claim the bus name " << service_name_ << ": " << error->message();
    return EX_UNAVAILABLE;
  }
  return 0;
}

void BusServiceDaemon::OnShutdown(int* /*exit_code*/) {}

bool BusServiceDaemon::OnRestart() { return false; }

}  // namespace orvane::platform::bus
