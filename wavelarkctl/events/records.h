#ifndef WAVELARKCTL_EVENTS_RECORDS_H_
#define WAVELARKCTL_EVENTS_RECORDS_H_

#include <SQLiteCpp/Database.h>

#include <functional>

#include "platform/files.h"

namespace orvane::wavelarkctl {

// Opens the recorder's database for reading and passes it to `read`. The recorder may be running.
// Throws a Failure that names the file: kUnavailable if it can't be read, kData if it is empty,
// damaged, another program's or of another version. Converts exceptions of SQLite in `read`, too.
void ReadRecords(const platform::FilePath& path,
                 const std::function<void(SQLite::Database& database)>& read);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EVENTS_RECORDS_H_
