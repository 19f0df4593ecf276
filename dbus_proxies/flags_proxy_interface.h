#ifndef DBUS_PROXIES_FLAGS_PROXY_INTERFACE_H_
#define DBUS_PROXIES_FLAGS_PROXY_INTERFACE_H_

#include <functional>
#include <map>
#include <string>

namespace orvane::platform::bus {
class ObjectProxy;
}

namespace org::velmora::ap {

// The flags service, which publishes run-time switches as a map of strings to strings.
class FlagsProxyInterface {
 public:
  // Called with the name of a property after each reading of that property.
  using PropertyChangedCallback =
      std::function<void(FlagsProxyInterface* proxy, const std::string& property_name)>;

  virtual ~FlagsProxyInterface() = default;

  // The map as last read, empty before the first reading. InitializeProperties must be called
  // first.
  virtual const std::map<std::string, std::string>& flags() const = 0;

  virtual const std::string& GetObjectPath() const = 0;
  virtual orvane::platform::bus::ObjectProxy* GetObjectProxy() const = 0;

  // Subscribes to changes of the map and requests it without waiting. `callback` runs on the loop
  // after each successful reading and may destroy the proxy.
  virtual void InitializeProperties(PropertyChangedCallback callback) = 0;
};

}  // namespace org::velmora::ap

#endif  // DBUS_PROXIES_FLAGS_PROXY_INTERFACE_H_
