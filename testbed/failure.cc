#include "testbed/failure.h"

#include <cerrno>

#include "platform/logging.h"

namespace orvane::testbed {

Failure SystemFailure(const std::string& action) {
  return action + ": " + platform::SystemErrorText(errno);
}

}  // namespace orvane::testbed
