#ifndef TESTS_STOPPED_FOR_A_WHILE_H_
#define TESTS_STOPPED_FOR_A_WHILE_H_

#include <chrono>

#include "testbed/steering_access_point.h"

namespace orvane::testbed {

// Starts the daemon and stops it for `length` by SIGSTOP, like a suspended machine, while as many
// events arrive as its queue holds. Expects that it loses none of them and does not make up for
// missed polls.
void ExpectNothingIsLostByAStop(SteeringAccessPoint& ap, std::chrono::seconds length);

}  // namespace orvane::testbed

#endif  // TESTS_STOPPED_FOR_A_WHILE_H_
