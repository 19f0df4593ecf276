#ifndef OPTIMIZER_SERVICE_H_
#define OPTIMIZER_SERVICE_H_

#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace orvane::ap {

// A feature of the daemon. The flags service switches it on and off and sets its parameters at run
// time. Its name is the key of its on/off flag; the keys of its parameters contain the name.
class Service {
 public:
  explicit Service(std::string name) : name_(std::move(name)) {}
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  virtual ~Service() = default;

  // Called for each flag whose key contains the service's name, except the on/off flag, each time
  // the map is read, whether the flag changed or not.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): the handler may keep the strings.
  virtual void OnFlagChanged(std::string /*key*/, std::string /*value*/) {}

  virtual void OnStart() = 0;
  virtual void OnStop() = 0;

  // Switch the service on and off. They have no effect if it already is.
  void Enable();
  void Disable();

  std::string name() const { return name_; }

 private:
  const std::string name_;
  bool enabled_ = false;
};

using ServiceList = std::list<std::unique_ptr<Service>>;

// The flags service's map, in ascending order of keys: the switch "clientSteering" comes before the
// parameters "clientSteering...".
using FlagMap = std::map<std::string, std::string>;

// Passes each flag, in key order, to every service whose name the key contains, in list order.
// Keeps no state between calls.
void ApplyFlags(const FlagMap& flags, const ServiceList& services);

}  // namespace orvane::ap

#endif  // OPTIMIZER_SERVICE_H_
