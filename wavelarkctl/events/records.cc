#include "wavelarkctl/events/records.h"

#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "recorder/message_table.h"
#include "recorder/schema.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;

// The database is locked only while SQLite recovers its log, which is short.
constexpr int kBusyTimeoutMs = 2000;

[[noreturn]] void Fail(ExitStatus status, const FilePath& path, std::string_view reason) {
  throw Failure(status, fmt::format("{}: {}", path.native(), reason));
}

void CheckFile(const FilePath& path) {
  const platform::ScopedFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (!file.is_valid() || fstat(file.get(), &status) != 0) {
    Fail(ExitStatus::kUnavailable, path, strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) Fail(ExitStatus::kUnavailable, path, "not a regular file");
}

bool HasLog(const FilePath& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path.native() + "-wal", error);
  return !error && size > 0;
}

// The path as a URI, so that an option can follow it.
std::string UriOf(const FilePath& path) {
  const FilePath absolute = std::filesystem::absolute(path);
  std::string uri = "file:";
  for (const char character : absolute.native()) {
    if (std::string_view("%?#").find(character) == std::string_view::npos) {
      uri += character;
    } else {
      uri += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
  }
  return uri;
}

int Number(SQLite::Database& database, const char* query) {
  return database.execAndGet(query).getInt();
}

// SQLite reads nothing before the first query.
SQLite::Database OpenAndRead(const std::string& uri) {
  SQLite::Database database(uri, SQLite::OPEN_READONLY | SQLite::OPEN_URI, kBusyTimeoutMs);
  Number(database, "SELECT count(*) FROM sqlite_schema");
  return database;
}

SQLite::Database Open(const FilePath& path) {
  CheckFile(path);
  const std::string uri = UriOf(path);
  try {
    return OpenAndRead(uri);
  } catch (const SQLite::Exception& error) {
    // The recorder is not running and the directory is read-only, so SQLite can't create the files
    // beside the database. It does not need them if there is no log.
    const int code = error.getErrorCode();
    if ((code != SQLITE_CANTOPEN && code != SQLITE_READONLY) || HasLog(path)) throw;
    return OpenAndRead(uri + "?immutable=1");
  }
}

void CheckColumns(SQLite::Database& database, const recorder::MessageTable& table,
                  const FilePath& path) {
  std::set<std::string> names;
  SQLite::Statement columns(database, "SELECT name FROM pragma_table_info(?)");
  columns.bind(1, table.name());
  while (columns.executeStep()) names.insert(columns.getColumn(0).getString());
  for (const recorder::MessageTable::Column& column : table.columns()) {
    if (names.contains(column.name)) continue;
    Fail(ExitStatus::kData, path,
         fmt::format("has no column {}.{}: a current recorder adds it when it starts", table.name(),
                     column.name));
  }
}

void CheckOwner(SQLite::Database& database, const FilePath& path) {
  const int version = Number(database, "PRAGMA user_version");
  if (version == 0 && Number(database, "SELECT count(*) FROM sqlite_schema") == 0) {
    Fail(ExitStatus::kData, path, "the database is empty: the recorder has not created its tables");
  }
  if (Number(database, "PRAGMA application_id") != recorder::kApplicationId) {
    Fail(ExitStatus::kData, path, "the database belongs to another program");
  }
  if (version == recorder::kSchemaVersion) return;
  Fail(ExitStatus::kData, path,
       fmt::format("the database has version {}, this program reads version {}", version,
                   recorder::kSchemaVersion));
}

void CheckTables(SQLite::Database& database, const FilePath& path) {
  CheckOwner(database, path);
  CheckColumns(database, recorder::ClientEventsTable(), path);
  CheckColumns(database, recorder::ProbeReportsTable(), path);
}

ExitStatus StatusOf(const SQLite::Exception& error) {
  switch (error.getErrorCode()) {
    case SQLITE_BUSY:
    case SQLITE_CANTOPEN:
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_NOMEM:
    case SQLITE_READONLY:
      return ExitStatus::kUnavailable;
    default:
      return ExitStatus::kData;
  }
}

}  // namespace

void ReadRecords(const FilePath& path,
                 const std::function<void(SQLite::Database& database)>& read) {
  try {
    SQLite::Database database = Open(path);
    CheckTables(database, path);
    read(database);
  } catch (const SQLite::Exception& error) {
    Fail(StatusOf(error), path, error.what());
  }
}

}  // namespace orvane::wavelarkctl
