#ifndef RECORDER_RECORD_H_
#define RECORDER_RECORD_H_

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "platform/bus/any.h"

namespace orvane::recorder {

// A record of serialised data.
struct DataRecord {
  std::string type;  // the type of the data; for a protobuf message a type URL
  std::span<const std::uint8_t> data;
  std::int64_t received_ms = 0;  // since the Unix epoch
};

// A named value with a description.
struct MetricRecord {
  std::string name;
  std::map<std::string, std::string> fields;
  platform::bus::Any value;
  std::int64_t received_ms = 0;  // since the Unix epoch
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORD_H_
