#ifndef WAVELARKCTL_CHECK_BUS_PROBE_H_
#define WAVELARKCTL_CHECK_BUS_PROBE_H_

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "flags/flags_text.h"

namespace orvane::wavelarkctl {

// The name of the flags service.
inline constexpr char kFlagsName[] = "org.velmora.ap.Flags";

// The process that owns a name on the bus.
struct NameOwner {
  pid_t pid = 0;
  uid_t uid = 0;
};

// A systemd service.
struct UnitState {
  std::string load{};    // "loaded", "not-found", "masked"
  std::string active{};  // "active", "inactive", "failed", "activating"
  std::string result{};  // "success", or the reason of its end
  std::uint32_t restarts = 0;
  bool needs_reload = false;
  // Some settings of the unit file and its drop-ins, as systemd has merged them, by key. Empty
  // unless the unit is loaded.
  std::map<std::string, std::string> settings{};
};

// Returns the value of RestrictAddressFamilies: "A B" allows only these families, "none" allows
// none, and "~A B" forbids these.
std::string FamiliesText(bool is_allow_list, const std::set<std::string>& names);

// Queries the system bus. Waits at most two seconds for each answer. After a call that got no
// answer, all other calls fail at once.
class BusProbe {
 public:
  // Connects. DBUS_SYSTEM_BUS_ADDRESS may name the bus.
  BusProbe();

  // The error of the connection, or of the call that got no answer. Empty without an error.
  const std::string& error() const { return error_; }

  // Returns nothing if the name has no owner.
  std::optional<NameOwner> FindOwner(const std::string& name);
  // Returns whether the bus starts the service on demand.
  bool IsActivatable(const std::string& name);

  // Reads the map of the flags service. If the service does not answer or refuses, returns nothing
  // and sets `*problem` to the reason.
  std::optional<flags::FlagMap> ReadFlags(std::string* problem);

  // Returns nothing if systemd does not answer.
  std::optional<UnitState> FindUnit(const std::string& name);

 private:
  struct Closer {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  void WaitUntilReady();
  // Keeps an error after which no other call gets an answer.
  void NoteLoss(int result);
  // Calls a method of the bus that returns a number for a name.
  std::optional<std::uint32_t> AskBus(const char* member, const std::string& name);
  std::string GetText(const std::string& path, const char* interface, const char* name);
  bool GetFlag(const std::string& path, const char* interface, const char* name);
  // Returns the value of RestrictAddressFamilies.
  std::string GetFamilies(const std::string& path);

  std::unique_ptr<sd_bus, Closer> bus_;
  std::string error_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_BUS_PROBE_H_
