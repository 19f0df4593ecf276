#include "platform/sd_event_loop.h"

#include <signal.h>
#include <sys/epoll.h>
#include <systemd/sd-event.h>
#include <time.h>

#include <algorithm>
#include <utility>

#include "platform/logging.h"

namespace orvane::platform {
namespace {

// How late sd-event may wake the loop in order to save wake-ups; its default is 250 ms.
constexpr std::uint64_t kTimerAccuracyUsec = 1000;

template <typename Clock>
TimeSpan SinceEpoch() {
  return std::chrono::duration_cast<TimeSpan>(Clock::now().time_since_epoch());
}

}  // namespace

class SdEventLoop::Watch : public FdWatch {
 public:
  explicit Watch(SourcePtr source) : source_(std::move(source)) {}

  static int OnReadable(sd_event_source* /*source*/, int fd, std::uint32_t /*events*/,
                        void* watcher) noexcept {
    static_cast<FdWatcher*>(watcher)->OnReadReady(fd);
    return 0;
  }

  static int OnWritable(sd_event_source* /*source*/, int fd, std::uint32_t /*events*/,
                        void* watcher) noexcept {
    static_cast<FdWatcher*>(watcher)->OnWriteReady(fd);
    return 0;
  }

 private:
  SourcePtr source_;
};

struct SdEventLoop::SignalHandler {
  std::function<void()> callback;
  SourcePtr source;

  static int OnSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/,
                      void* handler) noexcept {
    static_cast<SignalHandler*>(handler)->callback();
    return 0;
  }
};

void SdEventLoop::EventDeleter::operator()(sd_event* event) const { sd_event_unref(event); }

void SdEventLoop::SourceDeleter::operator()(sd_event_source* source) const {
  sd_event_source_disable_unref(source);
}

SdEventLoop::SdEventLoop() {
  sd_event* event = nullptr;
  CHECK(sd_event_new(&event) >= 0);
  event_.reset(event);
  sd_event_source* source = nullptr;
  CHECK(sd_event_add_time(event, &source, CLOCK_MONOTONIC, 0, kTimerAccuracyUsec, &OnTurn, this) >=
        0);
  turn_source_.reset(source);
  CHECK(sd_event_source_set_enabled(source, SD_EVENT_OFF) >= 0);
}

SdEventLoop::~SdEventLoop() = default;

int SdEventLoop::Run() { return sd_event_loop(event_.get()); }

void SdEventLoop::Quit(int exit_code) {
  int earlier_code = 0;
  if (sd_event_get_exit_code(event_.get(), &earlier_code) >= 0) return;
  CHECK(sd_event_exit(event_.get(), exit_code) >= 0);
}

void SdEventLoop::HandleSignal(int signal_number, std::function<void()> callback) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, signal_number);
  CHECK(sigprocmask(SIG_BLOCK, &signals, nullptr) == 0);

  auto handler = std::make_unique<SignalHandler>();
  handler->callback = std::move(callback);
  sd_event_source* source = nullptr;
  CHECK(sd_event_add_signal(event_.get(), &source, signal_number, &SignalHandler::OnSignal,
                            handler.get()) >= 0);
  handler->source.reset(source);
  signal_handlers_.push_back(std::move(handler));
}

void SdEventLoop::EnableWatchdog() {
  const int result = sd_event_set_watchdog(event_.get(), 1);
  if (result < 0) LOG(WARNING) << "No watchdog notices: " << SystemErrorText(-result);
}

WallTime SdEventLoop::Now() const { return WallTime(SinceEpoch<std::chrono::system_clock>()); }

// Read from the clock each time: sd-event's time is that of the start of the turn, and a blocking
// call may have taken half a minute since.
MonotonicTime SdEventLoop::MonotonicNow() const {
  return MonotonicTime(SinceEpoch<std::chrono::steady_clock>());
}

std::unique_ptr<FdWatch> SdEventLoop::WatchReadable(int fd, FdWatcher* watcher) {
  return AddWatch(fd, EPOLLIN, watcher);
}

std::unique_ptr<FdWatch> SdEventLoop::WatchWritable(int fd, FdWatcher* watcher) {
  return AddWatch(fd, EPOLLOUT, watcher);
}

std::unique_ptr<FdWatch> SdEventLoop::AddWatch(int fd, std::uint32_t events, FdWatcher* watcher) {
  const auto handler = events == EPOLLIN ? &Watch::OnReadable : &Watch::OnWritable;
  sd_event_source* source = nullptr;
  if (sd_event_add_io(event_.get(), &source, fd, events, handler, watcher) < 0) return nullptr;
  return std::make_unique<Watch>(SourcePtr(source));
}

void SdEventLoop::OnDeadlineChanged() {
  if (!in_turn_) Arm();
}

void SdEventLoop::Arm() {
  const std::optional<MonotonicTime> deadline = NextDeadline();
  if (!deadline.has_value()) {
    CHECK(sd_event_source_set_enabled(turn_source_.get(), SD_EVENT_OFF) >= 0);
    return;
  }
  const std::int64_t usec = std::max<std::int64_t>(deadline->time_since_epoch().count(), 0);
  CHECK(sd_event_source_set_time(turn_source_.get(), static_cast<std::uint64_t>(usec)) >= 0);
  CHECK(sd_event_source_set_enabled(turn_source_.get(), SD_EVENT_ONESHOT) >= 0);
}

int SdEventLoop::OnTurn(sd_event_source* /*source*/, std::uint64_t /*usec*/, void* loop) noexcept {
  auto* self = static_cast<SdEventLoop*>(loop);
  self->in_turn_ = true;
  self->RunTurn();
  self->in_turn_ = false;
  self->Arm();
  return 0;
}

}  // namespace orvane::platform
