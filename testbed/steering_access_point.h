#ifndef TESTBED_STEERING_ACCESS_POINT_H_
#define TESTBED_STEERING_ACCESS_POINT_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/access_point.h"

namespace orvane::testbed {

// An access point whose daemon runs on a simulated kernel (testbed/stations_file.h), with hostapd
// on both interfaces. It polls every second and steers after two.
class SteeringAccessPoint : public AccessPoint {
 public:
  using Lines = std::vector<std::string>;

  // Sets the kernel's stations from the next poll on. Both interfaces exist.
  void SetStations(Lines lines);
  void SetKernel(const Lines& lines);

  // Uses the daemon that was built with WAVELARK_SKIP_INCOMPLETE_STATIONS.
  void SkipIncompleteStations() { daemon_path_ = DAEMON_ON_FAKE_KERNEL_SKIP_PATH; }

  // Starts a bus, hostapd on both interfaces and the daemon. `arguments` decide whether it steers.
  void Start(const Arguments& arguments = {"--enable_client_steering"});

  // Starts the daemon without a bus and without waiting.
  void Launch(const Arguments& arguments);

  // Waits until the launched daemon is ready and attached.
  void ExpectReady();

  // Returns the texts of all lines so far that contain `part`.
  std::vector<std::string> LogTextsWith(std::string_view part);

  // Waits for the `count`-th line that contains `part`.
  void ExpectLoggedWith(std::string_view part, std::size_t count = 1);

 private:
  std::string daemon_path_ = DAEMON_ON_FAKE_KERNEL_PATH;
};

// A fixture with a steering access point.
class SteeringAccessPointTest : public ::testing::Test {
 protected:
  SteeringAccessPoint ap_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_STEERING_ACCESS_POINT_H_
