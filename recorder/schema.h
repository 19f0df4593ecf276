#ifndef RECORDER_SCHEMA_H_
#define RECORDER_SCHEMA_H_

#include <SQLiteCpp/Database.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "recorder/message_table.h"

namespace orvane::recorder {

struct DatabaseOptions {
  platform::FilePath path = "/var/lib/ap-wavelark/records.db";
  // Limit for the used pages of the database, in bytes.
  std::int64_t max_size = std::int64_t{64} << 20;
  // Whether an accepted record also survives a power failure.
  bool is_synchronous_full = false;
};

// The tables for the entries of an Event.
const MessageTable& ClientEventsTable();
const MessageTable& ProbeReportsTable();

// "WavR" in the file header identifies the recorder's database (PRAGMA application_id).
inline constexpr int kApplicationId = 0x57617652;

// The version of the tables and views that are not derived from messages (PRAGMA user_version).
inline constexpr int kSchemaVersion = 1;

// The name of a database's write-ahead log is that of the database plus this.
inline constexpr char kLogSuffix[] = "-wal";

// Returns a name for a file that is renamed now: "PATHSUFFIXYYYYMMDDTHHMMSSZ".
std::string AsideName(const std::string& path, std::string_view suffix);

// The number of renamed databases, or logs of them, that are kept of each suffix.
inline constexpr std::size_t kKeptAside = 3;

// Deletes all but the last files that AsideName named, with their write-ahead logs, and logs it.
// Always keeps `newest`, a result of AsideName: its time is not the last one if the clock was set
// back.
void DeleteOldAside(const std::string& path, std::string_view suffix, const std::string& newest);

// Opens the database. Creates it if it does not exist, updates an older version, and checks one
// that was not closed. Throws a SQLite::Exception on failure: SQLITE_NOTADB or SQLITE_CORRUPT if it
// is damaged, SQLITE_MISMATCH if it belongs to another program or has an unknown version.
SQLite::Database OpenDatabase(const DatabaseOptions& options);

}  // namespace orvane::recorder

#endif  // RECORDER_SCHEMA_H_
