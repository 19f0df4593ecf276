// A property in a D-Bus message, of any type, passed to the services. The input is instructions to
// build the message: a byte for the kind of value, then the value.

#include <systemd/sd-bus.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "optimizer/client_steer.h"
#include "optimizer/event_uploader.h"
#include "optimizer/hostapd_interface.h"
#include "optimizer/service.h"
#include "optimizer/station_id_generator.h"
#include "platform/bus/messages.h"
#include "platform/bus/property.h"
#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "testbed/offline_message.h"

namespace orvane {
namespace {

using platform::bus::MessageReader;

constexpr int kDeepest = 8;

// Contents of containers, chosen by the input.
constexpr auto kContents = std::to_array<const char*>(
    {"{ss}", "{sv}", "s", "v", "a{ss}", "y", "{su}", "(ss)", "i", "as", "{os}"});

void AppendValues(sd_bus_message* message, fuzz::Input* input, int depth);

void AppendContainer(sd_bus_message* message, fuzz::Input* input, int depth, char type) {
  const std::string_view contents = kContents[input->TakeByte() % kContents.size()];
  // Entries and structs are opened by their contents' signature, without the braces.
  const bool is_pair = type == SD_BUS_TYPE_DICT_ENTRY || type == SD_BUS_TYPE_STRUCT;
  const std::string signature(
      is_pair && contents.size() > 2 ? contents.substr(1, contents.size() - 2) : contents);
  if (sd_bus_message_open_container(message, type, signature.c_str()) < 0) return;
  AppendValues(message, input, depth + 1);
  // An incomplete container can't be closed, and its message can't be sealed: the message is
  // dropped.
  static_cast<void>(sd_bus_message_close_container(message));
}

void AppendText(sd_bus_message* message, char type, std::string_view text) {
  const std::string terminated(text.substr(0, text.find('\0')));
  static_cast<void>(sd_bus_message_append_basic(message, type, terminated.c_str()));
}

// Appends values until the input ends this container.
void AppendValues(sd_bus_message* message, fuzz::Input* input, int depth) {
  while (!input->IsEmpty()) {
    switch (const char what = static_cast<char>(input->TakeByte()); what) {
      case SD_BUS_TYPE_ARRAY:
      case SD_BUS_TYPE_VARIANT:
      case SD_BUS_TYPE_DICT_ENTRY:
      case SD_BUS_TYPE_STRUCT:
        if (depth == kDeepest) return;
        AppendContainer(message, input, depth, what);
        break;
      case SD_BUS_TYPE_STRING:
      case SD_BUS_TYPE_OBJECT_PATH:
        AppendText(message, what, input->TakeText());
        break;
      case SD_BUS_TYPE_UINT32: {
        const std::uint32_t value = input->TakeU16();
        static_cast<void>(sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT32, &value));
        break;
      }
      case SD_BUS_TYPE_BYTE: {
        const std::uint8_t value = input->TakeByte();
        static_cast<void>(sd_bus_message_append_basic(message, SD_BUS_TYPE_BYTE, &value));
        break;
      }
      default:
        return;
    }
  }
}

// The real services, which only receive flags here.
ap::ServiceList MakeServices() {
  static platform::ManualLoop loop;
  static ap::HostapdInterface hostapd(loop, "/nowhere");
  static const ap::StationIdGenerator station_ids("/nowhere");
  ap::ServiceList services;
  services.push_back(std::make_unique<ap::ClientSteer>(loop, /*netlink_manager=*/nullptr,
                                                       std::vector<std::string>{"wlan-2400mhz"},
                                                       &hostapd, ap::ClientSteerSettings{}));
  services.push_back(std::make_unique<ap::EventUploader>(loop, /*recorder=*/nullptr, station_ids));
  return services;
}

void Apply(const platform::bus::StringMap& flags) {
  const ap::ServiceList services = MakeServices();
  try {
    ap::ApplyFlags(flags, services);
  } catch (const std::logic_error& exception) {
    // By design only a non-numeric value ends the daemon.
    if (std::string_view(exception.what()) != "stoi") throw;
  }
}

// A map that was read can be written and read again.
void CheckRoundTrip(testbed::OfflineMessages& messages, const platform::bus::StringMap& flags) {
  const platform::bus::MessagePtr message = messages.New();
  platform::bus::StringMapProperty property;
  property.set_pending_value(flags);
  platform::bus::MessageWriter writer(message.get());
  property.AppendSetValue(writer);
  CHECK(writer.ok());
  testbed::OfflineMessages::Seal(message.get());
  MessageReader reader(message.get());
  CHECK(property.PopValue(reader));
  CHECK(property.value() == flags);
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  static testbed::OfflineMessages messages;
  const platform::bus::MessagePtr message = messages.New();
  fuzz::Input input(bytes);
  AppendValues(message.get(), &input, 0);
  if (sd_bus_message_seal(message.get(), /*cookie=*/1, /*timeout_usec=*/0) < 0) return;
  CHECK(sd_bus_message_rewind(message.get(), /*complete=*/1) >= 0);

  platform::bus::StringMapProperty property;
  MessageReader reader(message.get());
  // Reads values until one can't be read, like a real reader.
  while (reader.HasMore() && property.PopValue(reader)) {
  }
  Apply(property.value());
  CheckRoundTrip(messages, property.value());
}

}  // namespace orvane
