#ifndef TESTBED_PROGRAM_UNDER_TEST_H_
#define TESTBED_PROGRAM_UNDER_TEST_H_

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "testbed/child_process.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

inline constexpr std::chrono::milliseconds kLongEnough = kPatience;

// Starts one of the testbed's programs from its build directory.
inline std::unique_ptr<ChildProcess> StartTestbedProgram(const std::string& name,
                                                         ChildProcess::Arguments arguments) {
  arguments.insert(arguments.begin(), std::string(TESTBED_DIRECTORY "/") + name);
  return StartProcess(arguments);
}

// Starts the program and waits until it has printed `ready`.
inline std::unique_ptr<ChildProcess> StartTestbedProgramUntil(const std::string& ready,
                                                              const std::string& name,
                                                              ChildProcess::Arguments arguments) {
  auto child = StartTestbedProgram(name, std::move(arguments));
  EXPECT_TRUE(child->out().WaitForLine(ready, kLongEnough))
      << child->out().Text() << child->err().Text();
  return child;
}

}  // namespace orvane::testbed

#endif  // TESTBED_PROGRAM_UNDER_TEST_H_
