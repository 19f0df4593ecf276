#ifndef TESTBED_HOSTAPD_STANDIN_H_
#define TESTBED_HOSTAPD_STANDIN_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "testbed/event_plan.h"
#include "testbed/failure.h"
#include "testbed/program.h"

namespace orvane::testbed {

struct HostapdStandinOptions {
  platform::FilePath directory = "/var/run/hostapd";
  std::vector<std::string> interfaces = {"wlan-2400mhz", "wlan-5000mhz"};
  std::map<std::string, EventPlan> plans;  // by interface; without an entry nothing is played
  bool exit_when_done = false;             // end the loop with success after the last line

  // Faults.
  bool no_answer = false;              // ATTACH has no answer and no effect
  platform::TimeSpan answer_delay{0};  // delay of every answer
};

// Control sockets like hostapd's, one for each interface, with events from a plan. Like hostapd it
// answers "OK\n" to ATTACH, to DETACH ("FAIL\n" if the client was not attached), and to
// DISASSOCIATE and DEAUTHENTICATE ("FAIL\n" without an address), "PONG\n" to PING, and
// "UNKNOWN COMMAND\n" to anything else. The destructor removes the socket files.
//
// Prints: "ready: INTERFACE ... in DIRECTORY", "INTERFACE COMMAND from PEER", "INTERFACE lost
// PEER", "INTERFACE done: N events", "all done".
class HostapdStandin {
 public:
  HostapdStandin(platform::SdEventLoop& loop, HostapdStandinOptions options, LineSink tell);
  ~HostapdStandin();

  // Creates a missing directory.
  [[nodiscard]] Failure Start();

 private:
  class Interface;

  void OnInterfaceDone();

  platform::SdEventLoop& loop_;
  HostapdStandinOptions options_;
  LineSink tell_;
  std::size_t still_playing_ = 0;
  std::vector<std::unique_ptr<Interface>> interfaces_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_HOSTAPD_STANDIN_H_
