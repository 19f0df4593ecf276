#ifndef TESTS_STOPPED_FOR_A_WHILE_H_
#define TESTS_STOPPED_FOR_A_WHILE_H_

#include <chrono>

#include "testbed/steering_access_point.h"

namespace orvane::testbed {

// Starts the daemon and stops it for so long, as SIGSTOP or a suspended machine does, while events
// come in, as many as its queue takes. Expects that it loses none, and makes up for no poll.
void ExpectNothingIsLostByAStop(SteeringAccessPoint& ap, std::chrono::seconds length);

}  // namespace orvane::testbed

#endif  // TESTS_STOPPED_FOR_A_WHILE_H_
