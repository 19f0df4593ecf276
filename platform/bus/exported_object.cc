#include "platform/bus/exported_object.h"

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/bus/connection.h"

namespace orvane::platform::bus {
namespace {

constexpr char kNoResult[] = "";

}  // namespace

ExportedObject::ExportedObject(Connection& connection, std::string path, std::string interface)
    : connection_(connection), path_(std::move(path)), interface_(std::move(interface)) {
  table_.push_back(SD_BUS_VTABLE_START(0));
}

void ExportedObject::AddMethod(const std::string& name, const char* arguments,
                               MethodHandler handler) {
  const auto& [key, kept] = *methods_.insert_or_assign(name, std::move(handler)).first;
  // The bus policy decides who may call. Without this flag the library would also require a
  // privilege.
  table_.push_back(SD_BUS_METHOD(key.c_str(), arguments, kNoResult, &ExportedObject::OnCall,
                                 SD_BUS_VTABLE_UNPRIVILEGED));
}

void ExportedObject::AddProperty(const std::string& name, const char* signature,
                                 PropertyGetter getter) {
  const auto& [key, kept] = *properties_.insert_or_assign(name, std::move(getter)).first;
  table_.push_back(SD_BUS_PROPERTY(key.c_str(), signature, &ExportedObject::OnGet, 0,
                                   SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE));
}

bool ExportedObject::Export(ErrorHolder error) {
  table_.push_back(SD_BUS_VTABLE_END);
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_object_vtable(connection_.bus(), &slot, path_.c_str(),
                                              interface_.c_str(), table_.data(), this);
  slot_.reset(slot);
  if (result < 0) AddErrno(error, -result);
  return result >= 0;
}

bool ExportedObject::EmitChanged(const std::string& property, ErrorHolder error) {
  const int result = sd_bus_emit_properties_changed(connection_.bus(), path_.c_str(),
                                                    interface_.c_str(), property.c_str(), nullptr);
  if (result < 0) AddErrno(error, -result);
  return result >= 0;
}

int ExportedObject::OnCall(sd_bus_message* call, void* object, sd_bus_error* error) noexcept {
  const auto* self = static_cast<ExportedObject*>(object);
  MessageReader arguments(call);
  std::unique_ptr<Error> failure;
  if (self->methods_.find(sd_bus_message_get_member(call))->second(arguments, &failure)) {
    return sd_bus_reply_method_return(call, kNoResult);
  }
  return sd_bus_error_set(error, failure->code().c_str(), failure->message().c_str());
}

int ExportedObject::OnGet(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                          const char* property, sd_bus_message* reply, void* object,
                          sd_bus_error* /*error*/) noexcept {
  const auto* self = static_cast<ExportedObject*>(object);
  MessageWriter writer(reply);
  self->properties_.find(property)->second(writer);
  return writer.ok() ? 1 : -EIO;
}

}  // namespace orvane::platform::bus
