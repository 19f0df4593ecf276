#include "common/interface_names.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/logging.h"
#include "platform/text.h"

namespace orvane::ap {
namespace {

struct InterfaceRow {
  const char* name;
  std::string_view band;
  bool is_guest;
};

// In the order of GetAllInterfaces.
constexpr std::array<InterfaceRow, 7> kInterfaces = {{
    {kWlan2400MhzInterface, "2", false},
    {kWlan5000MhzInterface, "5", false},
    {kGuest2400MhzInterface, "2", true},
    {kGuest5000MhzInterface, "5", true},
    {kMesh2400MhzInterface, "2", false},
    {kMesh5000MhzInterface, "5", false},
    {kGroup5000MhzInterface, "5", false},
}};

// Returns null for any other name.
const InterfaceRow* FindInterface(std::string_view name) {
  const auto* const row = std::ranges::find(kInterfaces, name, &InterfaceRow::name);
  return row == kInterfaces.end() ? nullptr : row;
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
  names->clear();
  for (const InterfaceRow& row : kInterfaces) names->emplace_back(row.name);
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
  return std::string(platform::TrimWhitespace(*contents));
}

}  // namespace orvane::ap
