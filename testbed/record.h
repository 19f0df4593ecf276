#ifndef TESTBED_RECORD_H_
#define TESTBED_RECORD_H_

#include <cstdint>
#include <map>
#include <string>

namespace orvane::testbed {

// A record of bytes as the metrics recorder was given it.
struct DataRecord {
  std::string method;  // of the recorder
  std::string type;    // what the bytes are; for a protobuf message it is a type URL
  std::string data;
  std::int64_t received_ms = 0;  // since the Unix epoch
};

// A metric as the metrics recorder was given it.
struct MetricRecord {
  std::string method;
  std::string name;
  std::map<std::string, std::string> fields;
  std::string signature;  // the D-Bus type of the value
  std::string value;      // as text; empty where the type is not a basic one
  std::int64_t received_ms = 0;
};

// For people: a line on the record itself and, for a batch of client events (a type that ends in
// "/access_infrastructure.proto.Event"), a line on each event and each probe report. Lines are
// separated by line ends; the last has none. Times are local.
std::string DescribeRecord(const DataRecord& record);
std::string DescribeRecord(const MetricRecord& record);

// One line of JSON. For a batch of client events "message" holds it, with the field names of its
// schema; the bytes of anything else are in "data_hex".
std::string RecordToJson(const DataRecord& record);
std::string RecordToJson(const MetricRecord& record);

}  // namespace orvane::testbed

#endif  // TESTBED_RECORD_H_
