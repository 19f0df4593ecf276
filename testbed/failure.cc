#include "testbed/failure.h"

#include <cerrno>

#include "platform/logging.h"

namespace orvane::lab {

Failure SystemFailure(const std::string& action) {
  return action + ": " + platform::SystemErrorText(errno);
}

}  // namespace orvane::lab
