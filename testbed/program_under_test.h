#ifndef TESTBED_PROGRAM_UNDER_TEST_H_
#define TESTBED_PROGRAM_UNDER_TEST_H_

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "testbed/child_process.h"

namespace orvane::lab {

inline constexpr std::chrono::milliseconds kLongEnough(10'000);

// Starts one of the lab's programs from the folder where they have been built.
inline std::unique_ptr<ChildProcess> StartLabProgram(const std::string& name,
                                                     ChildProcess::Arguments arguments) {
  arguments.insert(arguments.begin(), std::string(TESTBED_DIRECTORY "/") + name);
  std::string error;
  auto child = ChildProcess::Start(arguments, {}, &error);
  EXPECT_NE(child, nullptr) << error;
  return child;
}

// Starts it, and waits until it has said `ready`.
inline std::unique_ptr<ChildProcess> StartLabProgramUntil(const std::string& ready,
                                                          const std::string& name,
                                                          ChildProcess::Arguments arguments) {
  auto child = StartLabProgram(name, std::move(arguments));
  EXPECT_TRUE(child->out().WaitForLine(ready, kLongEnough))
      << child->out().Text() << child->err().Text();
  return child;
}

}  // namespace orvane::lab

#endif  // TESTBED_PROGRAM_UNDER_TEST_H_
