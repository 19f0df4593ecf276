#ifndef TESTBED_PRIVATE_BUS_H_
#define TESTBED_PRIVATE_BUS_H_

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace orvane::platform::bus {

// A real dbus-daemon for one test, in a temporary folder of its own, that lets everybody do
// everything. While it lives, and after, DBUS_SYSTEM_BUS_ADDRESS of this process names it: a test
// never reaches the machine's own bus. It dies with the thread that made it, and each failure to
// set it up ends the process.
class PrivateBus {
 public:
  // Returns when the bus takes connections. `rules` are <allow> and <deny> elements of its
  // configuration, which count more than the ones that let everybody do everything.
  explicit PrivateBus(std::string rules = "");
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus();

  const std::string& address() const { return address_; }
  pid_t pid() const { return pid_; }

  // Ends the dbus-daemon without letting it say goodbye. Nothing if it does not run.
  void Kill();

  // Starts it, at the same address.
  void Start();

 private:
  void WriteConfig() const;
  std::filesystem::path ConfigPath() const { return folder_ / "bus.conf"; }
  // What the dbus-daemon has to say; shown when it does not start.
  std::filesystem::path LogPath() const { return folder_ / "log"; }

  std::string rules_;
  std::filesystem::path folder_;
  std::string address_;
  pid_t pid_ = -1;
};

}  // namespace orvane::platform::bus

#endif  // TESTBED_PRIVATE_BUS_H_
