#ifndef WAVELARKCTL_CHECK_HOSTAPD_PING_H_
#define WAVELARKCTL_CHECK_HOSTAPD_PING_H_

#include <string>

#include "platform/files.h"

namespace orvane::wavelarkctl {

// The answer of a control socket of hostapd to PING.
struct PingResult {
  int error = 0;  // errno of the connection; ETIMEDOUT if no answer comes within two seconds
  std::string answer;

  bool IsGood() const { return error == 0 && answer == "PONG\n"; }
};

PingResult PingHostapd(const platform::FilePath& socket);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_HOSTAPD_PING_H_
