#include "testbed/process_figures.h"

#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <system_error>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::testbed {

ProcessFile::ProcessFile(pid_t pid, std::string_view name)
    : path_(fmt::format("/proc/{}/{}", pid, name)),
      text_("\n" + platform::ReadFileToString(path_).value_or("")) {}

std::int64_t ProcessFile::Figure(std::string_view key) const {
  const std::string line_begin = fmt::format("\n{}:", key);
  const std::size_t at = text_.find(line_begin);
  CHECK(at != std::string::npos) << "There is no " << key << " in " << path_;
  return std::stoll(text_.substr(at + line_begin.size()));
}

std::size_t DescriptorCount(pid_t pid) {
  const std::string path = fmt::format("/proc/{}/fd", pid);
  std::error_code error;
  const std::filesystem::directory_iterator entries(path, error);
  CHECK(!error) << path << " can't be read: " << error.message();
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace orvane::testbed
