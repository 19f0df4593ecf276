#include "lab/process_figures.h"

#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <system_error>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::lab {

std::int64_t ProcessFigure(pid_t pid, const std::string& file, std::string_view key) {
  const std::string path = fmt::format("/proc/{}/{}", pid, file);
  const std::string text = "\n" + platform::ReadFileToString(path).value_or("");
  const std::string line_begin = fmt::format("\n{}:", key);
  const std::size_t at = text.find(line_begin);
  CHECK(at != std::string::npos) << "There is no " << key << " in " << path;
  return std::stoll(text.substr(at + line_begin.size()));
}

std::size_t DescriptorCount(pid_t pid) {
  const std::string path = fmt::format("/proc/{}/fd", pid);
  std::error_code error;
  const std::filesystem::directory_iterator entries(path, error);
  CHECK(!error) << path << " can't be read: " << error.message();
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace orvane::lab
