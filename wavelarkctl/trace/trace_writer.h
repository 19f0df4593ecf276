#ifndef WAVELARKCTL_TRACE_TRACE_WRITER_H_
#define WAVELARKCTL_TRACE_TRACE_WRITER_H_

#include <string>

#include "platform/files.h"
#include "wavelarkctl/trace/trace_row.h"

namespace orvane::wavelarkctl {

// Writes a trace: the header at once, rows by Flush. Throws a Failure (kUnavailable) if the file
// can't be written.
class TraceWriter {
 public:
  // `name` is the name of the file in errors. A file that `is_new` ends after the last whole Flush,
  // even if the disk is full.
  TraceWriter(platform::ScopedFd file, std::string name, bool is_new = false);
  TraceWriter(const TraceWriter&) = delete;
  TraceWriter& operator=(const TraceWriter&) = delete;
  TraceWriter(TraceWriter&&) = default;

  // Collects a row. Writes nothing, so it does not throw a Failure.
  void Add(const TraceRow& row);
  // Writes the collected rows. The destructor does not.
  void Flush();
  // Flushes if the collected rows fill a block. For rows that need not be written together.
  void FlushBlock();

 private:
  platform::ScopedFd file_;
  std::string name_;
  bool is_new_;
  std::string lines_;
};

// Creates a file. Throws a Failure (kUnavailable) if the file exists.
TraceWriter CreateTrace(const platform::FilePath& path);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_TRACE_WRITER_H_
