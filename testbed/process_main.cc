// Runs the cases of a test program in a private namespace, in which the daemon's fixed paths are
// free: /run, /var/lib and /dev/log belong to the test, and nothing reaches the machine's services.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <iostream>

#include "testbed/private_namespace.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  // Some cases make the daemon abort; no core file is needed.
  const rlimit no_core = {.rlim_cur = 0, .rlim_max = 0};
  setrlimit(RLIMIT_CORE, &no_core);
  if (!GTEST_FLAG_GET(list_tests)) {
    if (const auto failure = orvane::testbed::EnterPrivateNamespace({.private_dev = true})) {
      std::cerr << *failure << "\n";
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}
