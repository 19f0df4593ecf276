// Passes the inputs in archives to a fuzz target, one by one. Targets are linked with this if the
// compiler has no fuzzer.

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <memory>
#include <span>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace orvane::fuzz {
namespace {

struct ArchiveCloser {
  void operator()(archive* opened) const { archive_read_free(opened); }
};
using ArchivePtr = std::unique_ptr<archive, ArchiveCloser>;

ArchivePtr Open(const char* path) {
  ArchivePtr opened(archive_read_new());
  archive_read_support_filter_zstd(opened.get());
  archive_read_support_format_tar(opened.get());
  constexpr std::size_t kBlockSize = 64 * 1024;
  if (archive_read_open_filename(opened.get(), path, kBlockSize) != ARCHIVE_OK) return nullptr;
  return opened;
}

// Returns the contents of the current entry. Sets `*failed` if it can't be read completely.
std::vector<std::uint8_t> ReadEntry(archive* opened, bool* failed) {
  std::vector<std::uint8_t> contents;
  std::array<std::uint8_t, 4096> buffer;
  la_ssize_t length = 0;
  while ((length = archive_read_data(opened, buffer.data(), buffer.size())) > 0) {
    contents.insert(contents.end(), buffer.begin(), buffer.begin() + length);
  }
  if (length < 0) *failed = true;
  return contents;
}

// Returns the number of inputs, or 0 for an archive that can't be read completely.
std::size_t Replay(const char* path) {
  const ArchivePtr opened = Open(path);
  if (opened == nullptr) return 0;
  std::size_t count = 0;
  bool failed = false;
  archive_entry* entry = nullptr;
  int result = ARCHIVE_OK;
  while ((result = archive_read_next_header(opened.get(), &entry)) == ARCHIVE_OK && !failed) {
    if (archive_entry_filetype(entry) != AE_IFREG) continue;
    // Printed before the run, so that the last line names the input that ended the process.
    std::cout << archive_entry_pathname(entry) << std::endl;
    FuzzOneInput(ReadEntry(opened.get(), &failed));
    ++count;
  }
  return result == ARCHIVE_EOF && !failed ? count : 0;
}

int Main(std::span<char*> archives) {
  SilenceLog();
  std::size_t total = 0;
  for (const char* path : archives) {
    const std::size_t count = Replay(path);
    // Without inputs the test would always pass.
    if (count == 0) {
      std::cout << path << ": no archive with inputs" << std::endl;
      return 1;
    }
    total += count;
  }
  std::cout << total << " inputs" << std::endl;
  return total > 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvane::fuzz

int main(int argc, char** argv) {
  return orvane::fuzz::Main({argv + 1, static_cast<std::size_t>(argc - 1)});
}
