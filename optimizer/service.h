#ifndef OPTIMIZER_SERVICE_H_
#define OPTIMIZER_SERVICE_H_

#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace orvane::ap {

// A feature of the daemon that is switched on and off, and tuned, at run time by the flags service.
// Its name is the key of its on/off flag and stands in the keys of its parameters.
class Service {
 public:
  explicit Service(std::string name) : name_(std::move(name)) {}
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  virtual ~Service() = default;

  // A flag whose key contains the service's name, other than the on/off flag itself. Called with
  // every such flag each time the map is read, changed or not.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): the strings are the handler's to keep.
  virtual void OnFlagChanged(std::string /*key*/, std::string /*value*/) {}

  virtual void OnStart() = 0;
  virtual void OnStop() = 0;

  // Switch the service on and off; nothing happens when it is so already.
  void Enable();
  void Disable();

  std::string name() const { return name_; }

 private:
  const std::string name_;
  bool enabled_ = false;
};

using ServiceList = std::list<std::unique_ptr<Service>>;

// The flags service's map; in ascending order of keys, so that the switch "clientSteering" comes
// before the parameters "clientSteering...".
using FlagMap = std::map<std::string, std::string>;

// Hands each flag to every service whose name its key contains, in key order and, for each key, in
// list order. Nothing is remembered from one call to the next.
void ApplyFlags(const FlagMap& flags, const ServiceList& services);

}  // namespace orvane::ap

#endif  // OPTIMIZER_SERVICE_H_
