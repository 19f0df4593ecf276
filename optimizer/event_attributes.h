#ifndef OPTIMIZER_EVENT_ATTRIBUTES_H_
#define OPTIMIZER_EVENT_ATTRIBUTES_H_

#include <optional>
#include <string_view>

#include "optimizer/hostapd_event.h"
#include "optimizer/station_id_generator.h"
#include "proto/event.pb.h"

// Converts the "name:value" attributes of hostapd's events into fields of records.
//
// An attribute with an unknown name is ignored. An unknown word sets an enumeration to its unknown
// value. Numbers are parsed by std::stoi or std::stoll, depending on the width of the field. Their
// exceptions are not caught, so an invalid number aborts the daemon: such a hostapd does not match
// this daemon. Negative numbers wrap around in unsigned fields.

namespace orvane::ap {

struct NameValuePair {
  std::string_view name;
  std::string_view value;
};

// Splits at the first colon. Without a colon, logs a line and returns nothing.
std::optional<NameValuePair> ParseNameValuePair(std::string_view text);

// Sets one field. A "client_mac" changes nothing if it is not an address or if there is no salt.
void ApplyEventAttribute(const NameValuePair& attribute, StationIdGenerator* station_ids,
                         access_infrastructure::proto::ClientEventInfo* info);

// Sets fields in the order of the attributes: for one field the last attribute wins.
void ApplyEventAttributes(HostapdAttributes attributes, StationIdGenerator* station_ids,
                          access_infrastructure::proto::ClientEventInfo* info);
void ApplyProbeAttributes(HostapdAttributes attributes,
                          access_infrastructure::proto::ClientProbeRequestInfo* probe);

}  // namespace orvane::ap

#endif  // OPTIMIZER_EVENT_ATTRIBUTES_H_
