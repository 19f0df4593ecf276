#ifndef TESTBED_RECORD_STORE_H_
#define TESTBED_RECORD_STORE_H_

#include <string>
#include <string_view>

#include "platform/files.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// A record as the metrics recorder was given it.
struct DataRecord {
  std::string type;  // what the bytes are; for a protobuf message it is a type URL
  std::string data;
};

// Keeps records in a directory: the bytes as they are in a file named by a number of six digits
// ("000001" and so on, going on after what is there), their type beside it in NUMBER.type. A file
// that is seen is whole, and its type is there.
class RecordStore {
 public:
  explicit RecordStore(platform::FilePath directory) : directory_(std::move(directory)) {}

  // Makes the directory where it is missing.
  [[nodiscard]] Failure Open();

  [[nodiscard]] Failure Keep(const DataRecord& record);

 private:
  Failure WriteAtomically(const std::string& name, std::string_view contents);

  platform::FilePath directory_;
  unsigned last_number_ = 0;
};

}  // namespace orvane::testbed

#endif  // TESTBED_RECORD_STORE_H_
