#ifndef OPTIMIZER_HOSTAPD_EVENT_H_
#define OPTIMIZER_HOSTAPD_EVENT_H_

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace orvane::ap {

// Kinds of hostapd events. The values appear in the log.
enum class HostapdEventType : int {
  kHostapdStarted = 0,  // from the monitor, after ATTACH was sent
  kStationConnected = 1,
  kStationDisconnected = 2,
  kStationSteering = 3,
  kStationNoSteering = 4,
  kStationTaxonomy = 5,
  kStationAuth = 6,
  kStationAuthResponse = 7,  // also association responses
  kStationAssoc = 8,
  kStationAssocResp = 9,  // the parser never returns it
  kStationConnect = 10,
  kStationDisconnect = 11,
  kStationMonitorInfo = 12,
};

// Returns the enumerator's name, or "k--UnknownEvent" for any other value.
std::string_view HostapdEventTypeName(HostapdEventType kind);

// The attributes of an event line: its tokens from the third on, unparsed.
using HostapdAttributes = std::span<const std::string_view>;

// Receives one event of one interface. The views are valid until the callback returns. `mac` is the
// second token of the line, unchecked; it may be empty.
using HostapdLineCallback =
    std::function<void(HostapdEventType kind, std::string_view mac, HostapdAttributes attributes)>;

// Parses lines such as "<3>AP-STA-CONNECT 00:11:22:33:44:55 name:value name:value".
class HostapdEventParser {
 public:
  // Runs `callback` with the event of the line. Drops a line without a one-character priority. Logs
  // and drops a line with an unknown event name.
  void Parse(std::string_view line, const HostapdLineCallback& callback);

 private:
  std::vector<std::string_view> tokens_;  // a member so that its memory is reused
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_HOSTAPD_EVENT_H_
