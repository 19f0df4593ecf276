#ifndef WAVELARKCTL_BUS_PROBE_H_
#define WAVELARKCTL_BUS_PROBE_H_

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "flags/flags_text.h"

namespace orvane::wavelarkctl {

// The process behind a name on the bus.
struct NameOwner {
  pid_t pid = 0;
  uid_t uid = 0;
};

// A systemd unit.
struct UnitState {
  std::string load{};    // "loaded", "not-found", "masked"
  std::string active{};  // "active", "inactive", "failed", "activating"
  std::string result{};  // "success", or why it ended
  std::uint32_t restarts = 0;
  bool needs_reload = false;
};

// Looks at the system bus, and waits for each answer for at most two seconds. After the first
// answer that does not come it asks no more.
class BusProbe {
 public:
  // Connects. DBUS_SYSTEM_BUS_ADDRESS may name the bus.
  BusProbe();

  // Why there is no connection, or no answer; empty if there is.
  const std::string& error() const { return error_; }

  // Nothing if nobody owns the name.
  std::optional<NameOwner> FindOwner(const std::string& name);
  // Whether the bus starts the service when it is called.
  bool IsActivatable(const std::string& name);

  // The map of the flags service. Nothing if it does not answer, or refuses; then `*problem` says
  // why.
  std::optional<flags::FlagMap> ReadFlags(std::string* problem);

  // Nothing if no systemd answers.
  std::optional<UnitState> FindUnit(const std::string& name);

 private:
  struct Closer {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  void WaitUntilReady();
  void Note(int result, const std::string& what);
  std::string GetText(const std::string& path, const char* interface, const char* name);

  std::unique_ptr<sd_bus, Closer> bus_;
  std::string error_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_BUS_PROBE_H_
