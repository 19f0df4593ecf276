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

// An object on the bus with one interface, its methods and its read-only properties. The bus
// library provides introspection and the properties interface, and rejects calls with wrong
// arguments. The connection must outlive the object. The destructor unpublishes it.
class ExportedObject {
 public:
  // Handles a call, whose arguments have the method's signature. If it returns true, an empty reply
  // is sent. If it returns false, the added error is sent: its code is a D-Bus error name.
  using MethodHandler = std::function<bool(MessageReader& arguments, ErrorHolder error)>;

  // Appends the value of a property, without its variant.
  using PropertyGetter = std::function<void(MessageWriter& writer)>;

  ExportedObject(Connection& connection, std::string path, std::string interface);
  ExportedObject(const ExportedObject&) = delete;
  ExportedObject& operator=(const ExportedObject&) = delete;

  // Must be called before Export. Signatures must be string literals.
  void AddMethod(const std::string& name, const char* arguments, MethodHandler handler);
  void AddProperty(const std::string& name, const char* signature, PropertyGetter getter);

  // Publishes the object. Must be called once. No call is handled before the loop runs.
  bool Export(ErrorHolder error);

  // Emits a change signal with the new value of a property.
  bool EmitChanged(const std::string& property, ErrorHolder error);

 private:
  static int OnCall(sd_bus_message* call, void* object, sd_bus_error* error) noexcept;
  static int OnGet(sd_bus* bus, const char* path, const char* interface, const char* property,
                   sd_bus_message* reply, void* object, sd_bus_error* error) noexcept;

  Connection& connection_;
  std::string path_;
  std::string interface_;
  // `table_` points to the names in these keys.
  std::map<std::string, MethodHandler, std::less<>> methods_;
  std::map<std::string, PropertyGetter, std::less<>> properties_;
  std::vector<sd_bus_vtable> table_;
  SlotPtr slot_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_EXPORTED_OBJECT_H_
