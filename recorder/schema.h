#ifndef RECORDER_SCHEMA_H_
#define RECORDER_SCHEMA_H_

#include <SQLiteCpp/Database.h>

#include <cstdint>

#include "platform/files.h"
#include "recorder/message_table.h"

namespace orvane::recorder {

struct DatabaseOptions {
  platform::FilePath path = "/var/lib/ap-wavelark/records.db";
  // Of the database without what is free in it, in bytes.
  std::int64_t max_size = std::int64_t{64} << 20;
  // Whether an accepted record survives a power cut, too.
  bool is_synchronous_full = false;
};

// The tables of the entries of an Event.
const MessageTable& ClientEventsTable();
const MessageTable& ProbeReportsTable();

// "WavR", in the header of the file: the database is the recorder's (PRAGMA application_id).
inline constexpr int kApplicationId = 0x57617652;

// The version of the tables and views that are not made from messages (PRAGMA user_version).
inline constexpr int kSchemaVersion = 1;

// Opens the database, makes it where there is none, and brings an older one up to date. One that
// was not closed is checked first. Throws a SQLite::Exception when that fails: SQLITE_NOTADB or
// SQLITE_CORRUPT when it is damaged, SQLITE_MISMATCH when it is another program's or of a later
// version.
SQLite::Database OpenDatabase(const DatabaseOptions& options);

}  // namespace orvane::recorder

#endif  // RECORDER_SCHEMA_H_
