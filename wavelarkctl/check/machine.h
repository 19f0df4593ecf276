#ifndef WAVELARKCTL_CHECK_MACHINE_H_
#define WAVELARKCTL_CHECK_MACHINE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/check/bus_probe.h"

namespace orvane::wavelarkctl {

// A user with its groups.
struct Account {
  uid_t uid = 0;
  std::vector<gid_t> groups;
};

// The status of a path, or the error.
struct PathState {
  int error = 0;  // errno; 0 if the status is valid
  struct stat status {};

  bool IsThere() const { return error == 0; }
};

// The user of the daemon's unit.
inline constexpr char kDaemonUser[] = "ap-wavelark";

// The machine that is checked. A test can replace each part.
class Machine {
 public:
  // This machine.
  Machine();

  // The system bus; DBUS_SYSTEM_BUS_ADDRESS names another one. Connects on first use.
  BusProbe& bus();

  // A path of the machine, such as "/etc/passwd", as this process opens it.
  platform::FilePath At(std::string_view path) const;
  PathState Look(std::string_view path) const;
  // The files of a directory that end in ".conf", sorted by name, as paths of the machine.
  std::vector<std::string> ListConfigurations(std::string_view directory) const;

  // Reads the password and group files. Returns nothing if there is no such user.
  std::optional<Account> FindAccount(const std::string& name) const;
  std::string GroupName(gid_t gid) const;

  // Checks whether a user may read (4), write (2) or search (1) a path. Returns an empty string if
  // so, otherwise the obstacle: the path itself, or a directory above it. Ignores access control
  // lists.
  std::string FindObstacle(const Account& account, std::string_view path, unsigned access) const;

  platform::FilePath root = "/";
  // The kernel's index of an interface by its name or an alternative name; 0 if there is none.
  std::function<unsigned(const std::string& name)> interface_index;
  // The name of the interface of an index.
  std::function<std::string(unsigned index)> interface_name;
  std::function<bool()> has_nl80211;
  std::function<bool()> is_clock_synchronized;
  // Returns nothing if systemd does not answer.
  std::function<std::optional<UnitState>(BusProbe& bus)> unit;
  bool is_root_user;  // whether this process runs as root

 private:
  std::unique_ptr<BusProbe> bus_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_MACHINE_H_
