#ifndef TESTBED_FAILURE_H_
#define TESTBED_FAILURE_H_

#include <optional>
#include <string>

namespace orvane::testbed {

// An error in one line for people, or nothing on success.
using Failure = std::optional<std::string>;

// Returns the failed action and the error of errno.
Failure SystemFailure(const std::string& action);

}  // namespace orvane::testbed

#endif  // TESTBED_FAILURE_H_
