#include "common/interface_names.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

constexpr std::string_view kAsciiWhitespace = " \t\n\v\f\r";

struct InterfaceRow {
  std::string_view name;
  std::string_view band;
  bool is_guest;
};

constexpr std::array<InterfaceRow, 7> kInterfaces = {{
    {kWlan2400MhzInterface, "2", false},
    {kGuest2400MhzInterface, "2", true},
    {kMesh2400MhzInterface, "2", false},
    {kGuest5000MhzInterface, "5", true},
    {kMesh5000MhzInterface, "5", false},
    {kGroup5000MhzInterface, "5", false},
    {kWlan5000MhzInterface, "5", false},
}};

// Null for a name that is none of the access point's.
const InterfaceRow* FindInterface(std::string_view name) {
  const auto* const row = std::find_if(kInterfaces.begin(), kInterfaces.end(),
                                       [name](const auto& each) { return each.name == name; });
  return row == kInterfaces.end() ? nullptr : row;
}

std::string_view TrimAsciiWhitespace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kAsciiWhitespace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kAsciiWhitespace) - first + 1);
}

}  // namespace

std::string GetBandForInterface(std::string_view name) {
  const InterfaceRow* row = FindInterface(name);
  return row == nullptr ? std::string() : std::string(row->band);
}

bool IsGuestInterface(std::string_view name) {
  const InterfaceRow* row = FindInterface(name);
  return row != nullptr && row->is_guest;
}

void GetAllInterfaces(std::vector<std::string>* names) {
  *names = {kWlan2400MhzInterface,  kWlan5000MhzInterface, kGuest2400MhzInterface,
            kGuest5000MhzInterface, kMesh2400MhzInterface, kMesh5000MhzInterface,
            kGroup5000MhzInterface};
}

std::string GetPhyIndexForInterface(std::string_view name,
                                    const platform::FilePath& net_class_directory) {
  platform::FilePath path = net_class_directory;
  path += "/";
  path += name;
  path += "/phy80211/index";
  const std::optional<std::string> contents = platform::ReadFileToString(path);
  if (!contents.has_value()) {
    LOG(ERROR) << "Unable to determine phy for " << name;
    return {};
  }
  return std::string(TrimAsciiWhitespace(*contents));
}

}  // namespace orvane::ap
