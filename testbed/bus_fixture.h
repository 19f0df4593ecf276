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

namespace orvane::testbed {

// A private bus, a loop, and a connection to the bus on that loop.
class BusTest : public testing::Test {
 protected:
  explicit BusTest(std::string bus_rules = "") : bus_(std::move(bus_rules)) {
    EXPECT_NE(connection_, nullptr);
  }

  template <typename Condition>
  bool RunUntil(Condition condition) {
    return testbed::RunUntil(loop_, condition);
  }

  // Serves the loop until the bus has processed everything sent so far, and this process everything
  // that the bus has sent in reply.
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
  platform::SdEventLoop loop_;
  std::shared_ptr<platform::bus::Connection> connection_ =
      platform::bus::Connection::OpenSystemBus(loop_, nullptr);
};

}  // namespace orvane::testbed

#endif  // TESTBED_BUS_FIXTURE_H_
