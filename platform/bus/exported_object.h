#ifndef PLATFORM_BUS_EXPORTED_OBJECT_H_
#define PLATFORM_BUS_EXPORTED_OBJECT_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/bus/messages.h"
#include "platform/bus/slot.h"

namespace orvane::platform::bus {

class Connection;

// An object of ours that others call: one interface with its methods and read-only properties.
// Introspection, the properties interface and the refusal of calls with other arguments are the bus
// library's. The connection must outlive the object; destroying it withdraws it.
class ExportedObject {
 public:
  // Handles a call, whose arguments have the method's signature. True sends an empty reply. False
  // sends the added error: its code, a D-Bus error name, and its message.
  using MethodHandler = std::function<bool(MessageReader& arguments, ErrorHolder error)>;

  // Appends the value of a property, without its variant.
  using PropertyGetter = std::function<void(MessageWriter& writer)>;

  ExportedObject(Connection& connection, std::string path, std::string interface);
  ExportedObject(const ExportedObject&) = delete;
  ExportedObject& operator=(const ExportedObject&) = delete;

  // To be called before Export. Signatures are string literals.
  void AddMethod(const std::string& name, const char* arguments, MethodHandler handler);
  void AddProperty(const std::string& name, const char* signature, PropertyGetter getter);

  // Publishes the object. To be called once. No call is handled before the loop runs.
  bool Export(ErrorHolder error);

  // Signals that a property has changed, and to what.
  bool EmitChanged(const std::string& property, ErrorHolder error);

 private:
  static int OnCall(sd_bus_message* call, void* object, sd_bus_error* error) noexcept;
  static int OnGet(sd_bus* bus, const char* path, const char* interface, const char* property,
                   sd_bus_message* reply, void* object, sd_bus_error* error) noexcept;

  Connection& connection_;
  std::string path_;
  std::string interface_;
  // The keys are the names that the table points to.
  std::map<std::string, MethodHandler, std::less<>> methods_;
  std::map<std::string, PropertyGetter, std::less<>> properties_;
  std::vector<sd_bus_vtable> table_;
  SlotPtr slot_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_EXPORTED_OBJECT_H_
