#ifndef PLATFORM_LOOP_TEST_DRIVER_H_
#define PLATFORM_LOOP_TEST_DRIVER_H_

#include <gtest/gtest.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/loop.h"
#include "platform/manual_loop.h"
#include "platform/sd_event_loop.h"

namespace orvane::platform {

// Runs a loop of either kind, so that one suite of tests checks both.
class LoopDriver {
 public:
  virtual ~LoopDriver() = default;

  virtual Loop& loop() = 0;

  // Runs the loop and checks `done` after each step. Returns false if `done` is still false after
  // ten seconds of the loop's time.
  virtual bool RunUntil(const std::function<bool()>& done) = 0;

  // Runs steps until nothing more is due now.
  virtual void RunUntilIdle() = 0;
};

class ManualLoopDriver : public LoopDriver {
 public:
  Loop& loop() override { return loop_; }

  bool RunUntil(const std::function<bool()>& done) override {
    for (int steps = 0; steps < 10'000; ++steps) {
      if (done()) return true;
      if (!loop_.RunOnce()) loop_.AdvanceBy(std::chrono::milliseconds(1));
    }
    return done();
  }

  void RunUntilIdle() override { loop_.RunUntilIdle(); }

 private:
  ManualLoop loop_;
};

class SdEventLoopDriver : public LoopDriver {
 public:
  Loop& loop() override { return loop_; }

  bool RunUntil(const std::function<bool()>& done) override {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done() && std::chrono::steady_clock::now() < end) Step(/*timeout_usec=*/10'000);
    return done();
  }

  void RunUntilIdle() override {
    while (Step(/*timeout_usec=*/0)) {
    }
  }

 private:
  bool Step(std::uint64_t timeout_usec) { return sd_event_run(loop_.event(), timeout_usec) > 0; }

  SdEventLoop loop_;
};

struct LoopKind {
  std::string name;
  std::function<std::unique_ptr<LoopDriver>()> make_driver;
};

inline void PrintTo(const LoopKind& kind, std::ostream* out) { *out << kind.name; }

inline auto BothLoops() {
  return testing::Values(
      LoopKind{"ManualLoop", [] { return std::make_unique<ManualLoopDriver>(); }},
      LoopKind{"SdEventLoop", [] { return std::make_unique<SdEventLoopDriver>(); }});
}

inline std::string LoopName(const testing::TestParamInfo<LoopKind>& info) {
  return info.param.name;
}

// A fixture that runs each test on both loops.
class BothLoopsTest : public testing::TestWithParam<LoopKind> {
 protected:
  Loop& loop() { return driver_->loop(); }
  bool RunUntil(const std::function<bool()>& done) { return driver_->RunUntil(done); }
  void RunUntilIdle() { driver_->RunUntilIdle(); }

 private:
  std::unique_ptr<LoopDriver> driver_ = GetParam().make_driver();
};

}  // namespace orvane::platform

#endif  // PLATFORM_LOOP_TEST_DRIVER_H_
