#ifndef WAVELARKCTL_TRACE_TRACE_READER_H_
#define WAVELARKCTL_TRACE_TRACE_READER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/trace/trace_row.h"

namespace orvane::wavelarkctl {

// Reads the rows of a trace file in constant memory. Lines may end in CR LF, and the last line
// needs no end: a row that was cut off lacks at least its last field. What is written to the file
// later is not read, so that each pass has the same rows.
//
// Throws a Failure: kUnavailable for a file that can't be read, kData with "FILE:LINE: REASON" for
// one without the header, and for a wrong row.
class TraceReader {
 public:
  explicit TraceReader(const platform::FilePath& path);
  // From an open file, named `name` in errors.
  TraceReader(platform::ScopedFd file, std::string name);

  // The next row, with views that are valid until the next call. False at the end.
  bool Next(TraceRow* row);

  // Back to the first row.
  void Rewind();

  const std::string& name() const { return name_; }
  // The line of the last row; the header's is 1.
  std::uint64_t line_number() const { return line_number_; }

 private:
  // The next line, without its end. False at the end.
  bool NextLine(std::string_view* line);
  // Keeps the unread rest of the buffer and reads more. False at the end.
  bool Fill();
  [[noreturn]] void Fail(std::string_view problem) const;

  platform::ScopedFd file_;
  std::string name_;
  std::vector<char> buffer_;
  std::size_t size_ = 0;    // of the file when it was opened
  std::size_t unread_ = 0;  // the rest of size_
  std::size_t begin_ = 0;   // of the unread rest of the buffer
  std::size_t end_ = 0;
  std::uint64_t line_number_ = 0;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_TRACE_READER_H_
