#ifndef OPTIMIZER_EVENT_ATTRIBUTES_H_
#define OPTIMIZER_EVENT_ATTRIBUTES_H_

#include <optional>
#include <string_view>

#include "optimizer/hostapd_event.h"
#include "optimizer/station_id_generator.h"
#include "proto/event.pb.h"

// The attributes of hostapd's events, "name:value", turned into the fields of records.
//
// An attribute of an unknown name is ignored, and a word that an enumeration does not know gives
// its unknown value. A number is read by std::stoi or std::stoll, by the width of its field, and
// what they throw is not caught: a hostapd that sends something else does not fit this daemon. A
// negative number wraps around in an unsigned field.

namespace orvane::ap {

struct NameValuePair {
  std::string_view name;
  std::string_view value;
};

// Splits at the first colon; nothing, and a log line, when there is none.
std::optional<NameValuePair> ParseNameValuePair(std::string_view text);

// A value of "client_mac" that is no address, or can't be given an identifier, changes nothing.
void ApplyEventAttribute(const NameValuePair& attribute, StationIdGenerator* station_ids,
                         access_infrastructure::proto::ClientEventInfo* info);

// In order: of two attributes for the same field the later one counts.
void ApplyEventAttributes(HostapdAttributes attributes, StationIdGenerator* station_ids,
                          access_infrastructure::proto::ClientEventInfo* info);
void ApplyProbeAttributes(HostapdAttributes attributes,
                          access_infrastructure::proto::ClientProbeRequestInfo* probe);

}  // namespace orvane::ap

#endif  // OPTIMIZER_EVENT_ATTRIBUTES_H_
