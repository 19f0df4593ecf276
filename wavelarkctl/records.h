#ifndef WAVELARKCTL_RECORDS_H_
#define WAVELARKCTL_RECORDS_H_

#include <SQLiteCpp/Database.h>

#include <functional>

#include "platform/files.h"

namespace orvane::wavelarkctl {

// Opens the recorder's database for reading, while the recorder writes it or not, and passes it to
// `read`. Throws a Failure that names the file: kUnavailable if it can't be read, kData if it is
// empty, damaged, another program's or of another version. The same for what SQLite throws in
// `read`.
void ReadRecords(const platform::FilePath& path,
                 const std::function<void(SQLite::Database& database)>& read);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_RECORDS_H_
