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

// A control socket of hostapd that answers by itself, on a thread of its own: "OK" to whoever
// attaches and to commands, "PONG" to a ping. A test may change the answers, and sends events.
class AnsweringHostapd {
 public:
  // Replaces a socket that nobody serves.
  explicit AnsweringHostapd(const platform::FilePath& path);
  ~AnsweringHostapd();

  // The answers to a command from now on: each a datagram, none for silence.
  void SetAnswers(const std::string& command, std::vector<std::string> answers);

  // Waits until somebody is attached. False if nobody is in time.
  bool WaitForMonitor(std::chrono::milliseconds timeout);

  // Sends an event to the monitor that attached last; waits while its queue is full.
  void Send(std::string_view event);

  // How often a command has come.
  std::size_t Count(const std::string& command);

 private:
  void Serve();
  void Answer(const Command& command);

  ControlSocket socket_;
  std::mutex mutex_;  // guards what follows
  std::map<std::string, std::vector<std::string>> answers_;
  std::map<std::string, std::size_t> counts_;
  std::optional<PeerAddress> monitor_;
  std::atomic<bool> is_ending_ = false;
  std::thread thread_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_ANSWERING_HOSTAPD_H_
