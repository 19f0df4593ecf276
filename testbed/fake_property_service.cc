#include "testbed/fake_property_service.h"

#include <utility>

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

using platform::bus::MessagePtr;
using platform::bus::MessageReader;
using platform::bus::MessageWriter;
using platform::bus::StringMap;
using platform::bus::WriteScope;

constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";

}  // namespace

FakePropertyService::FakePropertyService(platform::SdEventLoop& loop, std::string path,
                                         std::string interface)
    : path_(std::move(path)), interface_(std::move(interface)) {
  AnswerWith([](MessageWriter& writer) { AppendStringMapProperties(writer, {}); });
  peer_.HandleCalls([this](sd_bus_message* call) { return OnCall(call); });
  peer_.AttachTo(loop);
}

bool FakePropertyService::OnCall(sd_bus_message* call) {
  if (sd_bus_message_is_method_call(call, kPropertiesInterface, "GetAll") <= 0) return false;
  if (sd_bus_message_get_path(call) != path_) return false;
  if (MessageReader(call).PopString() != interface_) return false;
  ++get_all_calls_;
  if (holding_) {
    held_.emplace_back(sd_bus_message_ref(call));
  } else {
    answer_(call);
  }
  return true;
}

void FakePropertyService::AnswerWith(Filler arguments) {
  answer_ = [this, arguments = std::move(arguments)](sd_bus_message* call) {
    peer_.Reply(call, arguments);
  };
}

void FakePropertyService::AnswerWithError(const std::string& name, const std::string& text) {
  answer_ = [this, name, text](sd_bus_message* call) { peer_.ReplyError(call, name, text); };
}

void FakePropertyService::AnswerHeld() {
  holding_ = false;
  for (const MessagePtr& call : std::exchange(held_, {})) answer_(call.get());
}

void FakePropertyService::SignalChange(const std::string& destination, const std::string& interface,
                                       const Filler& changed,
                                       const std::vector<std::string>& invalidated) {
  peer_.EmitSignal(destination, path_, kPropertiesInterface, "PropertiesChanged",
                   [&](MessageWriter& writer) {
                     writer.AppendString(interface);
                     changed(writer);
                     const WriteScope names(writer, SD_BUS_TYPE_ARRAY, "s");
                     for (const std::string& name : invalidated) writer.AppendString(name);
                   });
}

void FakePropertyService::Sync() {
  CHECK(sd_bus_call_method(peer_.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr) >= 0);
}

void AppendStringMapProperties(MessageWriter& writer,
                               const std::vector<std::pair<std::string, StringMap>>& properties) {
  const WriteScope array(writer, SD_BUS_TYPE_ARRAY, "{sv}");
  for (const auto& [name, value] : properties) {
    const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
    writer.AppendString(name);
    const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
    writer.AppendStringMap(value);
  }
}

}  // namespace orvane::testbed
