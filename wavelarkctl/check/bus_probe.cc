#include "wavelarkctl/check/bus_probe.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <set>

#include "platform/bus/messages.h"
#include "platform/logging.h"

namespace orvane::wavelarkctl {
namespace {

using platform::bus::MessageReader;
using platform::bus::ReadScope;
using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience(2);

constexpr char kBusName[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kFlagsPath[] = "/org/velmora/ap/Flags";
constexpr char kSystemdName[] = "org.freedesktop.systemd1";
constexpr char kSystemdPath[] = "/org/freedesktop/systemd1";
constexpr char kManager[] = "org.freedesktop.systemd1.Manager";
constexpr char kUnit[] = "org.freedesktop.systemd1.Unit";
constexpr char kService[] = "org.freedesktop.systemd1.Service";

// The text of a negative result of the library.
std::string ErrorText(int result) {
  return result == -ETIMEDOUT ? "no answer within 2 s" : platform::SystemErrorText(-result);
}

// Owns the error of a call.
class CallError {
 public:
  CallError() = default;
  CallError(const CallError&) = delete;
  CallError& operator=(const CallError&) = delete;
  ~CallError() { sd_bus_error_free(&error_); }

  sd_bus_error* get() { return &error_; }
  // The bus explains a refusal with the whole message, which does not help an operator.
  std::string text() const {
    if (sd_bus_error_has_name(&error_, SD_BUS_ERROR_ACCESS_DENIED) > 0) return "access is denied";
    return error_.message == nullptr ? "" : error_.message;
  }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

// Owns the reply of a call.
struct Reply {
  sd_bus_message* message = nullptr;

  Reply() = default;
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  ~Reply() { sd_bus_message_unref(message); }
};

}  // namespace

std::string FamiliesText(bool is_allow_list, const std::set<std::string>& names) {
  if (names.empty()) return is_allow_list ? "none" : "";
  return fmt::format("{}{}", is_allow_list ? "" : "~", fmt::join(names, " "));
}

BusProbe::BusProbe() {
  sd_bus* bus = nullptr;
  const int result = sd_bus_open_system(&bus);
  bus_.reset(bus);
  if (result < 0) {
    error_ = ErrorText(result);
    return;
  }
  sd_bus_set_method_call_timeout(bus, microseconds(kPatience).count());
  WaitUntilReady();
}

// The library itself waits for up to 90 s if a bus accepts a connection and sends nothing.
void BusProbe::WaitUntilReady() {
  const auto deadline = steady_clock::now() + kPatience;
  while (sd_bus_is_ready(bus_.get()) == 0) {
    const auto left = std::chrono::duration_cast<microseconds>(deadline - steady_clock::now());
    int result = left.count() <= 0 ? -ETIMEDOUT : sd_bus_process(bus_.get(), nullptr);
    if (result == 0) result = sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left.count()));
    if (result < 0) {
      error_ = ErrorText(result);
      return;
    }
  }
}

void BusProbe::NoteLoss(int result) {
  if (result == -ETIMEDOUT || result == -ENOTCONN || result == -ECONNRESET) {
    error_ = ErrorText(result);
  }
}

std::optional<std::uint32_t> BusProbe::AskBus(const char* member, const std::string& name) {
  if (!error_.empty()) return std::nullopt;
  Reply reply;
  const int result = sd_bus_call_method(bus_.get(), kBusName, kBusPath, kBusName, member, nullptr,
                                        &reply.message, "s", name.c_str());
  std::uint32_t number = 0;
  if (result >= 0 && sd_bus_message_read(reply.message, "u", &number) > 0) return number;
  NoteLoss(result);
  return std::nullopt;
}

std::optional<NameOwner> BusProbe::FindOwner(const std::string& name) {
  const auto pid = AskBus("GetConnectionUnixProcessID", name);
  const auto uid = AskBus("GetConnectionUnixUser", name);
  if (!pid || !uid) return std::nullopt;
  return NameOwner{.pid = static_cast<pid_t>(*pid), .uid = *uid};
}

bool BusProbe::IsActivatable(const std::string& name) {
  if (!error_.empty()) return false;
  Reply reply;
  const int result = sd_bus_call_method(bus_.get(), kBusName, kBusPath, kBusName,
                                        "ListActivatableNames", nullptr, &reply.message, "");
  if (result < 0) {
    NoteLoss(result);
    return false;
  }
  MessageReader reader(reply.message);
  const ReadScope names(reader, SD_BUS_TYPE_ARRAY, "s");
  while (const auto entry = reader.PopString()) {
    if (*entry == name) return true;
  }
  return false;
}

std::optional<flags::FlagMap> BusProbe::ReadFlags(std::string* problem) {
  CallError error;
  Reply reply;
  // The bus policy allows the daemon's user this call only.
  const int result =
      sd_bus_call_method(bus_.get(), kFlagsName, kFlagsPath, "org.freedesktop.DBus.Properties",
                         "GetAll", error.get(), &reply.message, "s", kFlagsName);
  if (result < 0) {
    *problem = result == -ETIMEDOUT ? "no answer within 2 s" : error.text();
    return std::nullopt;
  }
  MessageReader reader(reply.message);
  const ReadScope properties(reader, SD_BUS_TYPE_ARRAY, "{sv}");
  while (properties && reader.HasMore()) {
    const ReadScope entry(reader, SD_BUS_TYPE_DICT_ENTRY, "sv");
    const auto name = reader.PopString();
    if (!name) break;
    if (*name != "Flags") continue;
    const ReadScope value(reader, SD_BUS_TYPE_VARIANT, "a{ss}");
    flags::FlagMap map;
    if (value && reader.PopStringMap(&map)) return map;
  }
  *problem = "it has no property Flags of the type a{ss}";
  return std::nullopt;
}

std::string BusProbe::GetText(const std::string& path, const char* interface, const char* name) {
  char* text = nullptr;
  if (sd_bus_get_property_string(bus_.get(), kSystemdName, path.c_str(), interface, name, nullptr,
                                 &text) < 0) {
    return "";
  }
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return text;
}

bool BusProbe::GetFlag(const std::string& path, const char* interface, const char* name) {
  int flag = 0;
  sd_bus_get_property_trivial(bus_.get(), kSystemdName, path.c_str(), interface, name, nullptr, 'b',
                              &flag);
  return flag != 0;
}

std::string BusProbe::GetFamilies(const std::string& path) {
  Reply reply;
  int is_allow_list = 0;
  if (sd_bus_get_property(bus_.get(), kSystemdName, path.c_str(), kService,
                          "RestrictAddressFamilies", nullptr, &reply.message, "(bas)") < 0 ||
      sd_bus_message_enter_container(reply.message, 'r', "bas") < 0 ||
      sd_bus_message_read(reply.message, "b", &is_allow_list) < 0 ||
      sd_bus_message_enter_container(reply.message, 'a', "s") < 0) {
    return "";
  }
  std::set<std::string> names;
  for (const char* name = nullptr; sd_bus_message_read(reply.message, "s", &name) > 0;) {
    names.insert(name);
  }
  return FamiliesText(is_allow_list != 0, names);
}

std::optional<UnitState> BusProbe::FindUnit(const std::string& name) {
  if (!FindOwner(kSystemdName)) return std::nullopt;
  Reply reply;
  const char* path_text = nullptr;
  if (sd_bus_call_method(bus_.get(), kSystemdName, kSystemdPath, kManager, "LoadUnit", nullptr,
                         &reply.message, "s", name.c_str()) < 0 ||
      sd_bus_message_read(reply.message, "o", &path_text) < 0) {
    return std::nullopt;
  }
  const std::string path = path_text;
  UnitState state = {.load = GetText(path, kUnit, "LoadState")};
  if (state.load.empty()) return std::nullopt;
  state.active = GetText(path, kUnit, "ActiveState");
  state.result = GetText(path, kService, "Result");
  state.needs_reload = GetFlag(path, kUnit, "NeedDaemonReload");
  sd_bus_get_property_trivial(bus_.get(), kSystemdName, path.c_str(), kService, "NRestarts",
                              nullptr, 'u', &state.restarts);
  // Otherwise systemd answers with its defaults.
  if (state.load != "loaded") return state;
  for (const char* key : {"Type", "Restart", "User"}) {
    state.settings[key] = GetText(path, kService, key);
  }
  state.settings["PrivateNetwork"] = GetFlag(path, kService, "PrivateNetwork") ? "yes" : "no";
  state.settings["RestrictAddressFamilies"] = GetFamilies(path);
  return state;
}

}  // namespace orvane::wavelarkctl
