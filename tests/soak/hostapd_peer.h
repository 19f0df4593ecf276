#ifndef TESTS_SOAK_HOSTAPD_PEER_H_
#define TESTS_SOAK_HOSTAPD_PEER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "testbed/hostapd.h"
#include "tests/soak/course.h"
#include "tests/soak/event_lines.h"
#include "tests/soak/ledger.h"
#include "tests/soak/radio.h"

namespace orvane::soak {

// hostapd of a soak, with two radios that are killed, stop and hang, alone or together with their
// directory. It sends numbered lines and receives commands.
class HostapdPeer {
 public:
  // Returns the expected fate of a line about a station.
  using FateOf = std::function<Fate(LineKind kind)>;

  static constexpr std::size_t kRadios = 2;
  static constexpr char kKilled[] = "hostapd killed and started";
  static constexpr char kSendFailed[] = "Send to hostapd failed: ";

  // `course` must outlive this object.
  HostapdPeer(Course& course, std::uint32_t seed) : course_(course), lines_(seed) {}

  // Starts all radios.
  void Start();
  void Stop();

  // Starts a fault, which ends by itself.
  void Trouble(std::size_t index);
  void MoveDirectory();
  // Sends many lines without delays.
  void Burst(std::size_t index);

  // Runs regularly.
  void Serve();
  // Sends lines on the radios that are up and whose lines have been read.
  void SendLines(const FateOf& fate_of);

  bool AreAll(bool (Radio::*is_so)() const) const;

  // The daemon has logged a steer.
  void OnSteered();
  // The number of steer commands that have not arrived yet.
  std::int64_t undelivered() const { return undelivered_; }
  // The number of lines sent.
  std::uint64_t line_count() const { return last_number_; }

 private:
  void Kill(std::size_t index);
  void StopAndStart(Radio& radio);
  void Silence(Radio& radio);
  void StartRadio(Radio& radio);
  void StartLater(Radio& radio);
  void OnCommand(const Radio& radio, std::string_view command);
  void SendLine(std::size_t index, const FateOf& fate_of);

  Course& course_;
  std::array<Radio, kRadios> radios_ = {Radio(testbed::kWlan2400), Radio(testbed::kWlan5000)};
  std::array<int, kRadios> bursts_{};  // number of lines still to send
  EventLines lines_;
  std::uint64_t last_number_ = 0;
  std::int64_t undelivered_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_HOSTAPD_PEER_H_
