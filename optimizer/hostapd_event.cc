#include "optimizer/hostapd_event.h"

#include <algorithm>
#include <array>

#include "common/event_names.h"
#include "platform/logging.h"
#include "platform/text.h"

namespace orvane::ap {
namespace {

using enum HostapdEventType;

struct EventNameRow {
  std::string_view name;
  HostapdEventType kind;
};

// hostapd's event names. The receiver of the records expects association responses as
// authentication responses, so two rows have the same kind.
constexpr std::array<EventNameRow, 12> kEventNames = {{
    {kEventConnected, kStationConnected},
    {kEventDisconnected, kStationDisconnected},
    {kEventSteering, kStationSteering},
    {kEventNoSteering, kStationNoSteering},
    {kEventTaxonomy, kStationTaxonomy},
    {kEventAuth, kStationAuth},
    {kEventAuthResponse, kStationAuthResponse},
    {kEventAssoc, kStationAssoc},
    {kEventAssocResponse, kStationAuthResponse},
    {kEventConnect, kStationConnect},
    {kEventDisconnect, kStationDisconnect},
    {kEventMonitorInfo, kStationMonitorInfo},
}};

struct DisplayNameRow {
  HostapdEventType kind;
  std::string_view name;
};

constexpr std::array<DisplayNameRow, 13> kDisplayNames = {{
    {kHostapdStarted, "kHostapdStarted"},
    {kStationConnected, "kStationConnected"},
    {kStationDisconnected, "kStationDisconnected"},
    {kStationSteering, "kStationSteering"},
    {kStationNoSteering, "kStationNoSteering"},
    {kStationTaxonomy, "kStationTaxonomy"},
    {kStationAuth, "kStationAuth"},
    {kStationAuthResponse, "kStationAuthResponse"},
    {kStationAssoc, "kStationAssoc"},
    {kStationAssocResp, "kStationAssocResp"},
    {kStationConnect, "kStationConnect"},
    {kStationDisconnect, "kStationDisconnect"},
    {kStationMonitorInfo, "kStationMonitorInfo"},
}};

constexpr std::size_t kPriorityLength = 3;  // "<3>"

// Splits at every space: two consecutive spaces give an empty token.
void SplitAtSpaces(std::string_view text, std::vector<std::string_view>& tokens) {
  tokens.clear();
  for (;;) {
    const std::size_t space = text.find(' ');
    tokens.push_back(platform::TrimWhitespace(text.substr(0, space)));
    if (space == std::string_view::npos) return;
    text.remove_prefix(space + 1);
  }
}

bool HasPriority(std::string_view line) { return line.find('<') == 0 && line.find('>') == 2; }

}  // namespace

std::string_view HostapdEventTypeName(HostapdEventType kind) {
  const auto* const row = std::ranges::find(kDisplayNames, kind, &DisplayNameRow::kind);
  return row == kDisplayNames.end() ? "k--UnknownEvent" : row->name;
}

void HostapdEventParser::Parse(std::string_view line, const HostapdLineCallback& callback) {
  if (!HasPriority(line)) return;
  SplitAtSpaces(line, tokens_);
  std::string_view name = tokens_.front();
  // If the priority character is a space, the first token is shorter than a priority. The name is
  // then empty and matches no row.
  name.remove_prefix(std::min(name.size(), kPriorityLength));
  const std::string_view mac = tokens_.size() > 1 ? tokens_[1] : std::string_view();
  const HostapdAttributes attributes =
      HostapdAttributes(tokens_).subspan(std::min<std::size_t>(tokens_.size(), 2));

  const auto* const row = std::ranges::find(kEventNames, name, &EventNameRow::name);
  if (row == kEventNames.end()) {
    LOG(INFO) << "Received unknown event: " << name;
  } else {
    callback(row->kind, mac, attributes);
  }
}

}  // namespace orvane::ap
