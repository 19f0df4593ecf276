#ifndef TESTBED_ANSWERING_HOSTAPD_H_
#define TESTBED_ANSWERING_HOSTAPD_H_

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "testbed/control_socket.h"

namespace orvane::testbed {

// A control socket of hostapd that answers by itself, on its own thread: "OK" to ATTACH and to
// commands, "PONG" to PING. A test can change the answers and send events.
class AnsweringHostapd {
 public:
  // Replaces a socket file that nobody serves.
  explicit AnsweringHostapd(const platform::FilePath& path);
  ~AnsweringHostapd();

  // Sets the answers to a command, one datagram each. An empty list means no answer.
  void SetAnswers(const std::string& command, std::vector<std::string> answers);

  // Waits until a monitor is attached. Returns false after `timeout`.
  bool WaitForMonitor(std::chrono::milliseconds timeout);

  // Sends an event to the last attached monitor. Blocks while its queue is full.
  void Send(std::string_view event);

  // Returns how often a command has arrived.
  std::size_t Count(const std::string& command);

 private:
  void Serve();
  void Answer(const Command& command);

  ControlSocket socket_;
  std::mutex mutex_;  // guards the members below
  std::map<std::string, std::vector<std::string>> answers_;
  std::map<std::string, std::size_t> counts_;
  std::optional<PeerAddress> monitor_;
  std::atomic<bool> is_ending_ = false;
  std::thread thread_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_ANSWERING_HOSTAPD_H_
