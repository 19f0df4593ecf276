#ifndef TESTBED_FAILURE_H_
#define TESTBED_FAILURE_H_

#include <optional>
#include <string>

namespace orvane::testbed {

// What went wrong, in one line for people; nothing when all is well.
using Failure = std::optional<std::string>;

// What the system said no to, and why, by errno.
Failure SystemFailure(const std::string& action);

}  // namespace orvane::testbed

#endif  // TESTBED_FAILURE_H_
