#ifndef PLATFORM_BUS_PROPERTY_SET_H_
#define PLATFORM_BUS_PROPERTY_SET_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/bus/messages.h"
#include "platform/bus/object_proxy.h"
#include "platform/bus/property.h"
#include "platform/weak_ptr.h"

namespace orvane::platform::bus {

// Local copies of the properties of a remote interface. After ConnectSignals they follow the remote
// object: a change signal updates the properties whose values it contains. All properties are read
// again when the service gets an owner (it started or restarted), and after a change signal without
// the new value. Failures are logged at WARNING and leave the copies unchanged.
class PropertySet {
 public:
  // Runs on the loop after each successful reading of a property. May destroy the set.
  using ChangedCallback = std::function<void(const std::string& name)>;

  // `object` must outlive the set.
  PropertySet(ObjectProxy* object, std::string interface, ChangedCallback callback);
  PropertySet(const PropertySet&) = delete;
  PropertySet& operator=(const PropertySet&) = delete;
  virtual ~PropertySet();

  // Starts to follow the remote object. Does not block.
  void ConnectSignals();

  // Requests all properties without blocking. Drops the pending reply of an earlier request.
  void GetAll();

 protected:
  // `property` is a member of the derived class. Properties that are not registered are ignored.
  void RegisterProperty(const std::string& name, PropertyBase* property);

 private:
  void OnGetAllReply(sd_bus_message* reply, const Error* error);
  void OnOwnerChanged(sd_bus_message* signal);
  void OnPropertiesChanged(sd_bus_message* signal);
  bool UpdateAll(MessageReader& reader);
  void UpdateOne(const std::string& name, MessageReader& reader);
  bool HasInvalidatedProperty(MessageReader& reader) const;
  void LogFailure(const std::string& reason) const;

  ObjectProxy* object_;
  std::string interface_;
  ChangedCallback callback_;
  std::map<std::string, PropertyBase*, std::less<>> properties_;
  SignalSubscription owner_subscription_;
  SignalSubscription change_subscription_;
  std::unique_ptr<PendingCall> pending_get_all_;
  WeakPtrFactory<PropertySet> weak_ptr_factory_{this};
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_PROPERTY_SET_H_
