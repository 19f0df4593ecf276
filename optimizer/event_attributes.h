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
// value. Numbers are read like std::stoi or std::stoll, by the width of the field. Their exceptions
// are not caught, so a number that can't be read ends the process: such a hostapd does not match
// this daemon. Negative numbers wrap around in unsigned fields.

namespace orvane::ap {

struct NameValuePair {
  std::string_view name;
  std::string_view value;
};

// Splits at the first colon. Logs a line and returns nothing if there is none.
std::optional<NameValuePair> ParseNameValuePair(std::string_view text);

// A "client_mac" that is no address changes nothing, nor does any while there is no salt.
void ApplyEventAttribute(const NameValuePair& attribute, StationIdGenerator* station_ids,
                         access_infrastructure::proto::ClientEventInfo* info);

// Applies attributes in order: of two for the same field the later wins.
void ApplyEventAttributes(HostapdAttributes attributes, StationIdGenerator* station_ids,
                          access_infrastructure::proto::ClientEventInfo* info);
void ApplyProbeAttributes(HostapdAttributes attributes,
                          access_infrastructure::proto::ClientProbeRequestInfo* probe);

}  // namespace orvane::ap

#endif  // OPTIMIZER_EVENT_ATTRIBUTES_H_
