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
  std::map<std::string, EventPlan> plans;  // by interface; one without has nothing to play
  bool exit_when_done = false;             // end the loop with success after the last line

  // Misbehaviour.
  bool no_answer = false;              // to ATTACH, which then has no effect
  platform::TimeSpan answer_delay{0};  // of every answer
};

// Control sockets as hostapd serves them, one for each interface, with events played from a plan.
// As hostapd does, it answers ATTACH with "OK\n", DETACH, too, or with "FAIL\n" where nobody was
// attached, DISASSOCIATE and DEAUTHENTICATE with "OK\n", or with "FAIL\n" where no address follows,
// PING with "PONG\n", and anything else with "UNKNOWN COMMAND\n". The socket files are gone once
// this is destroyed.
//
// Tells: "ready: INTERFACE ... in DIRECTORY", "INTERFACE COMMAND from PEER", "INTERFACE lost PEER",
// "INTERFACE done: N events", "all done".
class HostapdStandin {
 public:
  HostapdStandin(platform::SdEventLoop& loop, HostapdStandinOptions options, LineSink tell);
  ~HostapdStandin();

  // Makes the directory where it is missing.
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
