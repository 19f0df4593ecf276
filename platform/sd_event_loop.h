#ifndef PLATFORM_SD_EVENT_LOOP_H_
#define PLATFORM_SD_EVENT_LOOP_H_

#include <functional>
#include <memory>
#include <vector>

#include "platform/loop.h"

struct sd_event;
struct sd_event_source;

namespace orvane::platform {

// The loop of a real process, on sd-event.
class SdEventLoop : public Loop {
 public:
  SdEventLoop();
  ~SdEventLoop() override;

  // Runs until Quit. Returns the exit code passed to Quit.
  int Run();

  // Ends Run after the current turn or callback. The first exit code wins.
  void Quit(int exit_code);

  // Blocks the signal, and calls `callback` on the loop when the process gets it. For the lifetime
  // of the loop.
  void HandleSignal(int signal_number, std::function<void()> callback);

  // Sends watchdog notices if the service manager wants them.
  void EnableWatchdog();

  WallTime Now() const override;
  MonotonicTime MonotonicNow() const override;
  [[nodiscard]] std::unique_ptr<FdWatch> WatchReadable(int fd, FdWatcher* watcher) override;
  [[nodiscard]] std::unique_ptr<FdWatch> WatchWritable(int fd, FdWatcher* watcher) override;

  // For libraries that add their own sources. Owned by the loop.
  sd_event* event() const { return event_.get(); }

 protected:
  void OnDeadlineChanged() override;

 private:
  struct EventDeleter {
    void operator()(sd_event* event) const;
  };
  struct SourceDeleter {
    void operator()(sd_event_source* source) const;
  };
  using SourcePtr = std::unique_ptr<sd_event_source, SourceDeleter>;
  class Watch;
  struct SignalHandler;

  // `events`: EPOLLIN or EPOLLOUT.
  std::unique_ptr<FdWatch> AddWatch(int fd, std::uint32_t events, FdWatcher* watcher);
  static int OnTurn(sd_event_source* source, std::uint64_t usec, void* loop) noexcept;
  void Arm();

  std::unique_ptr<sd_event, EventDeleter> event_;
  // Wakes the loop for its next turn, at the first deadline.
  SourcePtr turn_source_;
  bool in_turn_ = false;
  std::vector<std::unique_ptr<SignalHandler>> signal_handlers_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_SD_EVENT_LOOP_H_
