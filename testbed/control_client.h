#ifndef TESTBED_CONTROL_CLIENT_H_
#define TESTBED_CONTROL_CLIENT_H_

#include <chrono>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/wait_until.h"

namespace orvane::testbed {

// A client of a control socket. It has an abstract name that begins with the process id, because
// processes share these names, and ends in `name`, which must be unique in this process.
class ControlClient {
 public:
  // Connects to a socket. Aborts if nobody serves it.
  ControlClient(const std::string& name, const platform::FilePath& server);

  // Aborts if the socket is gone.
  void Send(std::string_view command);

  // Returns the next datagram, or an empty text if none arrives in time.
  std::string Receive(std::chrono::milliseconds timeout = kPatience);

  std::string Ask(std::string_view command);

 private:
  platform::ScopedFd socket_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_CONTROL_CLIENT_H_
