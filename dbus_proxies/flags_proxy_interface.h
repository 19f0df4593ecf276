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
  // A property, by its name, has been read or read again.
  using PropertyChangedCallback =
      std::function<void(FlagsProxyInterface* proxy, const std::string& property_name)>;

  virtual ~FlagsProxyInterface() = default;

  // The map as last read; empty until it has been. Not before InitializeProperties.
  virtual const std::map<std::string, std::string>& flags() const = 0;

  virtual const std::string& GetObjectPath() const = 0;
  virtual orvane::platform::bus::ObjectProxy* GetObjectProxy() const = 0;

  // Begins to follow the map: asks for it, without waiting, and for the signals of its changes.
  // `callback` runs on the loop after each successful reading, and may destroy the proxy.
  virtual void InitializeProperties(PropertyChangedCallback callback) = 0;
};

}  // namespace org::velmora::ap

#endif  // DBUS_PROXIES_FLAGS_PROXY_INTERFACE_H_
