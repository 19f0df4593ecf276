#include "platform/bus/bus_service_daemon.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <sysexits.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/logging.h"

namespace orvane::platform::bus {
namespace {

constexpr int kEndingSignals[] = {SIGTERM, SIGINT, SIGHUP};

// An eventfd that the loop reads; -1 while there is nothing to clean up.
volatile sig_atomic_t end_fd = -1;

// Not an event source of the loop: a blocking call may hold the loop for long, and pending signals
// are merged, so the loop would never see the second one.
void OnEndingSignal(int /*number*/) {
  if (end_fd < 0) _exit(0);
  for (const int number : kEndingSignals) signal(number, SIG_DFL);
  const int interrupted_errno = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(end_fd, &one, sizeof(one));
  errno = interrupted_errno;
}

}  // namespace

BusServiceDaemon::BusServiceDaemon(std::string service_name, std::string object_path)
    : service_name_(std::move(service_name)), object_path_(std::move(object_path)) {}

BusServiceDaemon::~BusServiceDaemon() { end_fd = -1; }

void BusServiceDaemon::HandleSignals() {
  signal(SIGPIPE, SIG_IGN);
  for (const int number : kEndingSignals) signal(number, OnEndingSignal);
}

int BusServiceDaemon::Run() {
  HandleSignals();
  if (const int result = OnInit(); result != 0) return result;
  sd_notify(/*unset_environment=*/0, "READY=1");
  loop_.EnableWatchdog();
  int exit_code = loop_.Run();
  sd_notify(/*unset_environment=*/0, "STOPPING=1");
  OnShutdown(&exit_code);
  return exit_code;
}

void BusServiceDaemon::EndLoopOnSignals() {
  end_fd_ = ScopedFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  end_watch_ = loop_.WatchReadable(end_fd_.get(), this);
  CHECK(end_watch_ != nullptr);
  end_fd = end_fd_.get();
  loop_.HandleSignal(SIGHUP, [this] {
    if (!OnRestart()) loop_.Quit(0);
  });
}

void BusServiceDaemon::OnReadReady(int /*fd*/) { loop_.Quit(0); }

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
  EndLoopOnSignals();
  return 0;
}

void BusServiceDaemon::OnShutdown(int* /*exit_code*/) {}

bool BusServiceDaemon::OnRestart() { return false; }

}  // namespace orvane::platform::bus
