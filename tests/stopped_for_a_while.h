#ifndef TESTS_STOPPED_FOR_A_WHILE_H_
#define TESTS_STOPPED_FOR_A_WHILE_H_

#include <chrono>

#include "testbed/played_kernel.h"

namespace orvane::ap {

// A daemon that is stopped, as by SIGSTOP or with its machine.
class StoppedForAWhile : public PlayedKernel {
 protected:
  // Stops it for so long while events come in, as many as its queue takes. Expects that it loses
  // none, and makes up for no poll.
  void ExpectNothingIsLost(std::chrono::seconds length);
};

}  // namespace orvane::ap

#endif  // TESTS_STOPPED_FOR_A_WHILE_H_
