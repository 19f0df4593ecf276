#ifndef TESTBED_PROCESS_FIGURES_H_
#define TESTBED_PROCESS_FIGURES_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvane::testbed {

// Values of a process from /proc. If a value is missing, because the process has ended or the
// kernel does not report it, the program aborts, so that nobody mistakes it for zero.

// The contents of a file of the process, for example "status", at one time.
class ProcessFile {
 public:
  ProcessFile(pid_t pid, std::string_view name);

  // Returns the number of the line "key: number", in the unit of that line; sizes are in kB.
  std::int64_t Figure(std::string_view key) const;

 private:
  std::string path_;
  std::string text_;
};

// Returns the number of open descriptors.
std::size_t DescriptorCount(pid_t pid);

}  // namespace orvane::testbed

#endif  // TESTBED_PROCESS_FIGURES_H_
