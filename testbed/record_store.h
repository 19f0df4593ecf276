#ifndef TESTBED_RECORD_STORE_H_
#define TESTBED_RECORD_STORE_H_

#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// A record as the metrics recorder received it.
struct DataRecord {
  std::string type;  // the type of the data; for a protobuf message a type URL
  std::string data;
};

// Stores records in a directory: the bytes in a file named by a number of six digits ("000001" and
// so on, continuing after existing ones), the type in NUMBER.type. When a file appears, it is
// complete and its type exists.
class RecordStore {
 public:
  explicit RecordStore(platform::FilePath directory) : directory_(std::move(directory)) {}

  // Creates a missing directory.
  [[nodiscard]] Failure Open();

  [[nodiscard]] Failure Keep(const DataRecord& record);

 private:
  Failure WriteAtomically(const std::string& name, std::string_view contents);

  platform::FilePath directory_;
  unsigned last_number_ = 0;
};

}  // namespace orvane::testbed

#endif  // TESTBED_RECORD_STORE_H_
