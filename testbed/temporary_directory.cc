#include "testbed/temporary_directory.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <fstream>
#include <string>
#include <system_error>

#include "platform/logging.h"

namespace orvane::testbed {

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = "/tmp/lab.XXXXXX";
  CHECK(mkdtemp(pattern.data()) != nullptr) << "Can't make a temporary directory";
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const platform::FilePath& path, std::string_view contents) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  file.close();
  CHECK(file.good()) << "Can't write " << path.native();
}

void ReplaceFile(const platform::FilePath& path, std::string_view contents) {
  CHECK(platform::ReplaceFile(path, contents)) << "Can't replace " << path.native();
}

void LimitFileSize(std::size_t bytes) {
  // Without this, the signal ends the process.
  signal(SIGXFSZ, SIG_IGN);
  // The hard limit stays: only a privileged process can raise it.
  rlimit limit = {};
  CHECK(getrlimit(RLIMIT_FSIZE, &limit) == 0);
  limit.rlim_cur = bytes;
  CHECK(setrlimit(RLIMIT_FSIZE, &limit) == 0) << "Can't limit the size of files";
}

}  // namespace orvane::testbed
