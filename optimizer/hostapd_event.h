#ifndef OPTIMIZER_HOSTAPD_EVENT_H_
#define OPTIMIZER_HOSTAPD_EVENT_H_

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace orvane::ap {

// What hostapd tells of its stations. The values are shown in logs.
enum class HostapdEventType : int {
  kHostapdStarted = 0,  // made by the monitor when it has asked hostapd for events
  kStationConnected = 1,
  kStationDisconnected = 2,
  kStationSteering = 3,
  kStationNoSteering = 4,
  kStationTaxonomy = 5,
  kStationAuth = 6,
  kStationAuthResponse = 7,  // association responses too
  kStationAssoc = 8,
  kStationAssocResp = 9,  // never made by the parser
  kStationConnect = 10,
  kStationDisconnect = 11,
  kStationMonitorInfo = 12,
};

// The enumerator's own name; "k--UnknownEvent" for a value that is none.
std::string_view HostapdEventTypeName(HostapdEventType kind);

// The attributes of an event line: its tokens from the third on, unparsed.
using HostapdAttributes = std::span<const std::string_view>;

// One event of one interface. The views are valid until the callback returns. `mac` is the line's
// second token as it stands; it may be empty.
using HostapdLineCallback =
    std::function<void(HostapdEventType kind, std::string_view mac, HostapdAttributes attributes)>;

// Parses lines such as "<3>AP-STA-CONNECT 00:11:22:33:44:55 name:value name:value".
class HostapdEventParser {
 public:
  // Runs `callback` with the event of the line. A line without a one-character priority in front is
  // dropped silently, one of an unknown name with a log line.
  void Parse(std::string_view line, const HostapdLineCallback& callback);

 private:
  std::vector<std::string_view> tokens_;  // kept for its memory
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_HOSTAPD_EVENT_H_
