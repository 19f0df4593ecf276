#ifndef TESTBED_STEERING_ACCESS_POINT_H_
#define TESTBED_STEERING_ACCESS_POINT_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/access_point.h"

namespace orvane::testbed {

// An access point whose daemon is on a fake kernel (testbed/stations_file.h), with hostapd on both
// interfaces. It polls every second and steers after two.
class SteeringAccessPoint : public AccessPoint {
 public:
  using Lines = std::vector<std::string>;

  // What the kernel knows from the next poll on; both interfaces are there.
  void SetStations(Lines lines);
  void SetKernel(const Lines& lines);

  // The daemon is then built with WAVELARK_SKIP_INCOMPLETE_STATIONS.
  void SkipIncompleteStations() { daemon_path_ = DAEMON_ON_FAKE_KERNEL_SKIP_PATH; }

  // A bus, hostapd on both interfaces and the daemon; whether it steers at all is for `arguments`
  // to say.
  void Start(const Arguments& arguments = {"--enable_client_steering"});

  // Without the bus, and without waiting.
  void Launch(const Arguments& arguments);

  // Once it is launched: until it is ready, and attached.
  void ExpectReady();

  // The texts of the lines so far that contain `part`.
  std::vector<std::string> LogTextsWith(std::string_view part);

  // Waits for the `count`-th line that contains `part`.
  void ExpectLoggedWith(std::string_view part, std::size_t count = 1);

 private:
  std::string daemon_path_ = DAEMON_ON_FAKE_KERNEL_PATH;
};

// A test with a steering access point of its own.
class SteeringAccessPointTest : public ::testing::Test {
 protected:
  SteeringAccessPoint ap_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_STEERING_ACCESS_POINT_H_
