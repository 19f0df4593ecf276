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

// Local copies of an interface's properties, kept up with the remote object once ConnectSignals has
// been called: by its own change signals, and by reading all of them again when its service gets an
// owner (it came late, or was started anew) or says that one of them has changed but not to what.
// What fails is logged at WARNING and leaves the copies as they are.
class PropertySet {
 public:
  // Runs on the loop after each successful reading of a property. May destroy the set.
  using ChangedCallback = std::function<void(const std::string& name)>;

  // `object` must outlive the set.
  PropertySet(ObjectProxy* object, std::string interface, ChangedCallback callback);
  PropertySet(const PropertySet&) = delete;
  PropertySet& operator=(const PropertySet&) = delete;
  virtual ~PropertySet();

  // Begins to follow the remote object. Does not wait for anything.
  void ConnectSignals();

  // Asks for all properties, without waiting. An answer to an earlier question that is still to
  // come is not looked at any more.
  void GetAll();

 protected:
  // `property` is a member of the derived class. Properties without a registration are ignored.
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
  std::unique_ptr<SignalSubscription> owner_subscription_;
  std::unique_ptr<SignalSubscription> change_subscription_;
  std::unique_ptr<PendingCall> pending_get_all_;
  WeakPtrFactory<PropertySet> weak_ptr_factory_{this};
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_PROPERTY_SET_H_
