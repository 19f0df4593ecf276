#ifndef BENCH_BENCH_LOOP_H_
#define BENCH_BENCH_LOOP_H_

#include <chrono>
#include <memory>

#include "platform/manual_loop.h"

namespace orvane::bench {

// A loop for benchmarks: it costs almost nothing, but returns the real time. It watches one
// descriptor at a time and never polls it; the benchmark calls the watcher.
class BenchLoop : public platform::ManualLoop {
 public:
  platform::WallTime Now() const override {
    return platform::WallTime(std::chrono::duration_cast<platform::TimeSpan>(
        std::chrono::system_clock::now().time_since_epoch()));
  }

  [[nodiscard]] std::unique_ptr<platform::FdWatch> WatchReadable(
      int /*fd*/, platform::FdWatcher* watcher) override {
    watcher_ = watcher;
    return std::make_unique<platform::FdWatch>();
  }

  platform::FdWatcher* watcher() const { return watcher_; }

 private:
  platform::FdWatcher* watcher_ = nullptr;
};

}  // namespace orvane::bench

#endif  // BENCH_BENCH_LOOP_H_
