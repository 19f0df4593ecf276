#ifndef TESTBED_FAKE_PROPERTY_SERVICE_H_
#define TESTBED_FAKE_PROPERTY_SERVICE_H_

#include <string>
#include <vector>

#include "platform/bus/messages.h"
#include "testbed/test_peer.h"

namespace orvane::testbed {

// An object with properties on the bus, served by the loop of the test.
class FakePropertyService {
 public:
  using Filler = TestPeer::Filler;

  FakePropertyService(platform::SdEventLoop& loop, std::string path, std::string interface);

  TestPeer& peer() { return peer_; }

  // What every GetAll from now on is answered with: these arguments, or this error, or nothing
  // until AnswerHeld.
  void AnswerWith(Filler arguments);
  void AnswerWithError(const std::string& name, const std::string& text);
  void HoldAnswers() { holding_ = true; }
  void AnswerHeld();

  int get_all_calls() const { return get_all_calls_; }

  // `changed` appends an a{sv}. A broadcast when `destination` is empty.
  void SignalChange(const std::string& destination, const std::string& interface,
                    const Filler& changed, const std::vector<std::string>& invalidated);

  // Returns when the bus has dealt with all that has been sent.
  void Sync();

 private:
  bool OnCall(sd_bus_message* call);

  std::string path_;
  std::string interface_;
  TestPeer peer_;
  std::function<void(sd_bus_message* call)> answer_;
  std::vector<platform::bus::MessagePtr> held_;
  bool holding_ = false;
  int get_all_calls_ = 0;
};

// Appends properties, each a string map, as an a{sv}.
void AppendStringMapProperties(
    platform::bus::MessageWriter& writer,
    const std::vector<std::pair<std::string, platform::bus::StringMap>>& properties);

}  // namespace orvane::testbed

#endif  // TESTBED_FAKE_PROPERTY_SERVICE_H_
