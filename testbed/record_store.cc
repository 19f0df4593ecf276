#include "testbed/record_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace orvane::testbed {
namespace {

// Returns the number at the beginning of a file's name, or 0.
unsigned NumberOf(const std::string& name) {
  unsigned number = 0;
  std::from_chars(name.data(), name.data() + name.size(), number);
  return number;
}

}  // namespace

Failure RecordStore::Open() {
  std::error_code error;
  std::filesystem::create_directories(directory_, error);
  std::filesystem::directory_iterator entries(directory_, error);
  if (error) return "Can't use " + directory_.native() + ": " + error.message();
  for (const auto& entry : entries) {
    last_number_ = std::max(last_number_, NumberOf(entry.path().filename()));
  }
  return std::nullopt;
}

Failure RecordStore::Keep(const DataRecord& record) {
  const std::string name = fmt::format("{:06}", ++last_number_);
  if (Failure failure = WriteAtomically(name + ".type", record.type)) return failure;
  return WriteAtomically(name, record.data);
}

Failure RecordStore::WriteAtomically(const std::string& name, std::string_view contents) {
  const platform::FilePath path = directory_ / name;
  if (platform::ReplaceFile(path, contents)) return std::nullopt;
  return "Can't keep " + path.native();
}

}  // namespace orvane::testbed
