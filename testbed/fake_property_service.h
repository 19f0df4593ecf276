#ifndef TESTBED_FAKE_PROPERTY_SERVICE_H_
#define TESTBED_FAKE_PROPERTY_SERVICE_H_

#include <string>
#include <vector>

#include "platform/bus/messages.h"
#include "testbed/test_peer.h"

namespace orvane::testbed {

// An object with properties on the bus, served by the test's loop.
class FakePropertyService {
 public:
  using Filler = TestPeer::Filler;

  FakePropertyService(platform::SdEventLoop& loop, std::string path, std::string interface);

  TestPeer& peer() { return peer_; }

  // Set the answer to every later GetAll: these arguments, this error, or no answer until
  // AnswerHeld.
  void AnswerWith(Filler arguments);
  void AnswerWithError(const std::string& name, const std::string& text);
  void HoldAnswers() { holding_ = true; }
  void AnswerHeld();

  int get_all_calls() const { return get_all_calls_; }

  // `changed` appends an a{sv}. An empty `destination` means a broadcast.
  void SignalChange(const std::string& destination, const std::string& interface,
                    const Filler& changed, const std::vector<std::string>& invalidated);

  // Returns when the bus has processed everything that was sent.
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

// Appends an a{sv} of properties, each of them a string map.
void AppendStringMapProperties(
    platform::bus::MessageWriter& writer,
    const std::vector<std::pair<std::string, platform::bus::StringMap>>& properties);

}  // namespace orvane::testbed

#endif  // TESTBED_FAKE_PROPERTY_SERVICE_H_
