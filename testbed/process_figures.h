#ifndef TESTBED_PROCESS_FIGURES_H_
#define TESTBED_PROCESS_FIGURES_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvane::testbed {

// Figures of a process, seen from outside, as /proc has them. A figure that is not there, since the
// process is gone or the kernel doesn't tell it, ends the program: nobody takes it for a zero.

// A file of the process, "status" say, as it was at one moment.
class ProcessFile {
 public:
  ProcessFile(pid_t pid, std::string_view name);

  // The number of the line "key: number", in the unit that the line has: kB for sizes.
  std::int64_t Figure(std::string_view key) const;

 private:
  std::string path_;
  std::string text_;
};

// How many descriptors it has open.
std::size_t DescriptorCount(pid_t pid);

}  // namespace orvane::testbed

#endif  // TESTBED_PROCESS_FIGURES_H_
