#include "soak/sample.h"

#include <fmt/format.h>
#include <time.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>

#include "platform/files.h"

namespace orvane::soak {
namespace {

// The number behind `key` in a text of lines "key:  number kB".
std::int64_t NumberBehind(std::string_view key, const std::string& text) {
  const std::size_t at = text.find("\n" + std::string(key) + ":");
  return at == std::string::npos ? 0 : std::atoll(text.c_str() + at + key.size() + 2);
}

std::int64_t DescriptorCount(pid_t pid) {
  std::error_code error;
  const std::filesystem::directory_iterator entries(fmt::format("/proc/{}/fd", pid), error);
  return error ? 0 : std::distance(begin(entries), end(entries));
}

double CpuSeconds(pid_t pid) {
  clockid_t clock = 0;
  timespec time = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

Sample TakeSample(pid_t pid) {
  const std::string memory =
      platform::ReadFileToString(fmt::format("/proc/{}/smaps_rollup", pid)).value_or("");
  return {.anonymous_kb = NumberBehind("Anonymous", memory),
          .resident_kb = NumberBehind("Rss", memory),
          .descriptors = DescriptorCount(pid),
          .cpu_seconds = CpuSeconds(pid)};
}

std::string CsvHead() {
  return "seconds,anonymous_kb,resident_kb,descriptors,cpu_seconds,events,polls\n";
}

std::string CsvLine(const Sample& sample) {
  return fmt::format("{:.1f},{},{},{},{:.3f},{},{}\n", sample.seconds, sample.anonymous_kb,
                     sample.resident_kb, sample.descriptors, sample.cpu_seconds, sample.events,
                     sample.polls);
}

}  // namespace orvane::soak
