#include "bridge/options.h"

#include <net/if.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "bridge/control_text.h"
#include "common/interface_names.h"
#include "platform/command_line.h"
#include "platform/logging.h"
#include "platform/parse_number.h"

namespace orvane::bridge {
namespace {

constexpr std::size_t kMostQueueLines = 1'000'000;

// The kernel accepts more characters, but names are also labels in the metrics file.
bool IsInterfaceName(std::string_view name) {
  const auto is_allowed = [](char c) { return c > ' ' && c <= '~' && c != '/' && c != ':'; };
  return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
         std::ranges::all_of(name, is_allowed);
}

// Parses "NAME" or "NAME=HOSTAPD_NAME".
std::string AddInterface(std::string_view text, std::vector<InterfaceNames>* interfaces) {
  std::string_view rest = text;
  const std::string_view served = TakeUntil(&rest, '=');
  const std::string_view hostapd = text.find('=') == std::string_view::npos ? served : rest;
  if (!IsInterfaceName(served) || !IsInterfaceName(hostapd)) return "is not an interface name";
  const auto is_known = [served, hostapd](const InterfaceNames& names) {
    return names.served == served || names.hostapd == hostapd;
  };
  if (std::ranges::any_of(*interfaces, is_known)) return "has a name that is given twice";
  interfaces->push_back({std::string(served), std::string(hostapd)});
  return "";
}

std::string SetQueueLines(std::string_view text, std::size_t* lines) {
  const auto number = platform::ParseNumber<std::size_t>(text);
  if (!number.has_value() || *number == 0 || *number > kMostQueueLines) {
    return "is not a number from 1 to 1000000";
  }
  *lines = *number;
  return "";
}

void AddPath(const std::string& name, const std::string& value, const std::string& help,
             platform::FilePath* path, platform::CommandLine* command_line) {
  command_line->AddText(name, value, help, [path](const std::string& text) {
    *path = text;
    return std::string(text.starts_with('/') ? "" : "is not an absolute path");
  });
}

}  // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options) {
  platform::CommandLine command_line(argc > 0 ? argv[0] : "",
                                     "ap-wavelark-bridge " WAVELARK_VERSION);
  AddPath("hostapd-directory", "DIRECTORY (default: /run/hostapd)", "hostapd's control sockets",
          &options->hostapd_directory, &command_line);
  AddPath("directory", "DIRECTORY (default: /run/ap-wavelark/hostapd)",
          "The control sockets that are served to the daemon", &options->directory, &command_line);
  command_line.AddText(
      "interface", "NAME[=NAME] (default: wlan-2400mhz and wlan-5000mhz)",
      "An interface by the daemon's name and, if it differs, by hostapd's; may be repeated",
      [options](const std::string& text) { return AddInterface(text, &options->interfaces); });
  command_line.AddText(
      "queue-lines", "INT (default: 4096)", "Lines that wait for a client at most",
      [options](const std::string& text) { return SetQueueLines(text, &options->queue_lines); });
  AddPath("metrics-file", "FILE (default: none)", "A file for counters, for Prometheus",
          &options->metrics_file, &command_line);
  std::int32_t verbose_level = 0;
  command_line.AddInt32("v", "Verbose level; 1 logs each event", &verbose_level);

  const std::optional<int> exit_code = command_line.Parse(argc, argv);
  if (exit_code.has_value()) return exit_code;
  platform::SetVerboseLevel(verbose_level);
  if (options->interfaces.empty()) {
    for (const char* name : {ap::kWlan2400MhzInterface, ap::kWlan5000MhzInterface}) {
      options->interfaces.push_back({name, name});
    }
  }
  return std::nullopt;
}

}  // namespace orvane::bridge
