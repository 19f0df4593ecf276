#include "testbed/flags_service.h"

#include <fmt/format.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

namespace orvane::testbed {
namespace {

constexpr char kName[] = "org.velmora.ap.Flags";
constexpr char kPath[] = "/org/velmora/ap/Flags";
constexpr char kInterface[] = "org.velmora.ap.Flags";
constexpr char kProperty[] = "Flags";
constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
constexpr char kGetAll[] = "GetAll";

// Returns the member if the call reads the flags: Get of the property, or GetAll of its interface.
std::optional<std::string> ReadingMember(sd_bus_message* call) {
  const char* interface = nullptr;
  const char* property = nullptr;
  if (sd_bus_message_is_method_call(call, kPropertiesInterface, kGetAll) > 0) {
    if (sd_bus_message_read(call, "s", &interface) <= 0) return std::nullopt;
  } else if (sd_bus_message_is_method_call(call, kPropertiesInterface, "Get") > 0) {
    if (sd_bus_message_read(call, "ss", &interface, &property) <= 0) return std::nullopt;
    if (std::string_view(property) != kProperty) return std::nullopt;
  } else {
    return std::nullopt;
  }
  if (std::string_view(interface) != kInterface) return std::nullopt;
  return sd_bus_message_get_member(call);
}

}  // namespace

const sd_bus_vtable FlagsService::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY(kProperty, kFlagsSignature, &FlagsService::OnGetProperty, 0,
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_VTABLE_END,
};

FlagsService::FlagsService(platform::SdEventLoop& loop, FlagsServiceOptions options, LineSink tell)
    : options_(std::move(options)),
      tell_(std::move(tell)),
      loop_(loop),
      peer_(loop, kName),
      watch_(loop, options_.file, [this] { OnFileChanged(); }) {}

Failure FlagsService::Start() {
  if (Failure failure = watch_.Start()) return failure;
  ReadFile();
  if (Failure failure = peer_.Connect()) return failure;
  // sd-bus answers Get and GetAll from the vtable, always at once and correctly. This handler gets
  // these calls first, so that answers can be late or wrong. sd-bus handles all other calls of the
  // object.
  sd_bus_slot* slot = nullptr;
  MustSucceed(sd_bus_add_object(peer_.bus(), &slot, kPath, &OnPropertiesCall, this));
  object_slot_.reset(slot);
  MustSucceed(sd_bus_add_object_vtable(peer_.bus(), &slot, kPath, kInterface, kVtable, this));
  vtable_slot_.reset(slot);
  return peer_.Claim(options_.late, [this] { tell_(fmt::format("started as {}", kName)); });
}

void FlagsService::ReadFile() {
  const std::optional<std::string> text = platform::ReadFileToString(options_.file);
  const int error = errno;
  FlagsFile file = ParseFlagsFile(text.value_or(""));
  flags_ = std::move(file.flags);
  for (const std::string& problem : file.problems) {
    tell_(fmt::format("{} {}", options_.file.native(), problem));
  }
  if (text) {
    tell_(fmt::format("read {} flags from {}", flags_.size(), options_.file.native()));
  } else {
    tell_(fmt::format("read 0 flags: {} {}", options_.file.native(),
                      error == ENOENT ? "is not there" : "can't be read"));
  }
}

void FlagsService::OnFileChanged() {
  ReadFile();
  if (peer_.has_name()) SignalFlags();
}

int FlagsService::OnPropertiesCall(sd_bus_message* call, void* self,
                                   sd_bus_error* /*error*/) noexcept {
  auto* service = static_cast<FlagsService*>(self);
  const std::optional<std::string> member = ReadingMember(call);
  if (!member) {
    MustSucceed(sd_bus_message_rewind(call, 1));
    return 0;  // not ours: sd-bus continues
  }
  const char* sender = sd_bus_message_get_sender(call);
  service->tell_(fmt::format("asked by {}: {}", sender == nullptr ? "a peer" : sender, *member));
  service->AnswerLater(call, *member);
  return 1;
}

// For clients that request the properties of all interfaces at once.
int FlagsService::OnGetProperty(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                                const char* /*property*/, sd_bus_message* reply, void* self,
                                sd_bus_error* /*error*/) noexcept {
  AppendFlagMap(reply, static_cast<FlagsService*>(self)->flags_, /*duplicate_keys=*/false);
  return 0;
}

void FlagsService::AnswerLater(sd_bus_message* call, const std::string& member) {
  if (options_.answer_delay.count() == 0) {
    Answer(call, member);
    return;
  }
  loop_.PostDelayedTask(
      [service = weak_factory_.GetWeakPtr(), kept = KeepMessage(call), member] {
        if (service) service->Answer(kept.get(), member);
      },
      options_.answer_delay);
}

void FlagsService::Answer(sd_bus_message* call, const std::string& member) {
  sd_bus_message* reply = nullptr;
  if (!options_.error.empty()) {
    MustSucceed(
        sd_bus_message_new_method_errorf(call, &reply, options_.error.c_str(), "As asked for"));
  } else {
    MustSucceed(sd_bus_message_new_method_return(call, &reply));
    if (member == kGetAll) {
      AppendFlagsDictionary(reply, kProperty, flags_, options_.encoding);
    } else {
      AppendFlagsVariant(reply, flags_, options_.encoding);
    }
  }
  peer_.Send(reply);
}

void FlagsService::SignalFlags() {
  sd_bus_message* signal = nullptr;
  MustSucceed(sd_bus_message_new_signal(peer_.bus(), &signal, kPath, kPropertiesInterface,
                                        "PropertiesChanged"));
  MustSucceed(sd_bus_message_append(signal, "s", kInterface));
  AppendFlagsDictionary(signal, kProperty, flags_, options_.encoding);
  MustSucceed(sd_bus_message_append(signal, "as", 0));
  peer_.Send(signal);
  tell_(fmt::format("signalled {} flags", flags_.size()));
}

}  // namespace orvane::testbed
