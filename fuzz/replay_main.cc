// Feeds files to a fuzz target, one after the other: every file of each folder that is given. With
// a compiler that has no fuzzer, this is what a target is linked with.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <span>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "platform/files.h"

namespace orvane::fuzz {
namespace {

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// How many files there were.
std::size_t Replay(const std::filesystem::path& folder) {
  const std::vector<std::filesystem::path> files = FilesIn(folder);
  for (const std::filesystem::path& file : files) {
    const std::string contents = platform::ReadFileToString(file).value();
    // Told before, so that the last line names the one that went wrong.
    std::cout << file.filename().native() << std::endl;
    FuzzOneInput({reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size()});
  }
  return files.size();
}

int Main(std::span<char*> folders) {
  SilenceLog();
  std::size_t count = 0;
  for (const char* folder : folders) count += Replay(folder);
  std::cout << count << " inputs" << std::endl;
  // A corpus that is not there would let every test pass.
  return count > 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvane::fuzz

int main(int argc, char** argv) {
  return orvane::fuzz::Main({argv + 1, static_cast<std::size_t>(argc - 1)});
}
