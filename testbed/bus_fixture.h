#ifndef TESTBED_BUS_FIXTURE_H_
#define TESTBED_BUS_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/bus/connection.h"
#include "platform/sd_event_loop.h"
#include "testbed/log_capture.h"
#include "testbed/private_bus.h"
#include "testbed/run_until.h"

namespace orvane::platform::bus {

// A bus, a loop, and a connection of ours between them.
class BusTest : public testing::Test {
 protected:
  explicit BusTest(std::string bus_rules = "") : bus_(std::move(bus_rules)) {
    EXPECT_NE(connection_, nullptr);
  }

  template <typename Condition>
  bool RunUntil(Condition condition) {
    return platform::RunUntil(loop_, condition);
  }

  // Serves the loop until the bus has dealt with all that we have sent, and we with all that it has
  // sent by then.
  void Settle() {
    for (int round = 0; round < 3; ++round) {
      RunWhileReady(loop_);
      EXPECT_GE(
          sd_bus_call_method(connection_->bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
          0);
    }
    RunWhileReady(loop_);
  }

  PrivateBus bus_;
  LogCapture log_;
  SdEventLoop loop_;
  std::shared_ptr<Connection> connection_ = Connection::OpenSystemBus(loop_, nullptr);
};

}  // namespace orvane::platform::bus

#endif  // TESTBED_BUS_FIXTURE_H_
