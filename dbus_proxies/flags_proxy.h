#ifndef DBUS_PROXIES_FLAGS_PROXY_H_
#define DBUS_PROXIES_FLAGS_PROXY_H_

#include <map>
#include <memory>
#include <string>

#include "dbus_proxies/flags_proxy_interface.h"
#include "platform/bus/connection.h"
#include "platform/bus/property.h"
#include "platform/bus/property_set.h"

namespace org::velmora::ap {

class FlagsProxy : public FlagsProxyInterface {
 public:
  class PropertySet : public orvane::platform::bus::PropertySet {
   public:
    PropertySet(orvane::platform::bus::ObjectProxy* object, ChangedCallback callback);

    orvane::platform::bus::StringMapProperty flags;
  };

  // Causes no bus traffic.
  FlagsProxy(std::shared_ptr<orvane::platform::bus::Connection> bus, std::string service_name);
  ~FlagsProxy() override;

  const std::map<std::string, std::string>& flags() const override;
  const std::string& GetObjectPath() const override { return object_path_; }
  orvane::platform::bus::ObjectProxy* GetObjectProxy() const override { return object_proxy_; }
  void InitializeProperties(PropertyChangedCallback callback) override;

 private:
  std::shared_ptr<orvane::platform::bus::Connection> bus_;
  std::string service_name_;
  const std::string object_path_{"/org/velmora/ap/Flags"};
  orvane::platform::bus::ObjectProxy* object_proxy_;
  std::unique_ptr<PropertySet> property_set_;
};

}  // namespace org::velmora::ap

#endif  // DBUS_PROXIES_FLAGS_PROXY_H_
