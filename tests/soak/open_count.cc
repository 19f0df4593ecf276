#include "tests/soak/open_count.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "platform/logging.h"

namespace orvane::soak {

OpenCount::OpenCount(const platform::FilePath& file)
    : name_(file.filename()), inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  CHECK(inotify_add_watch(inotify_.get(), file.parent_path().c_str(), IN_OPEN) >= 0);
}

std::int64_t OpenCount::Get() {
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t length = read(inotify_.get(), buffer.data(), buffer.size());
    if (length <= 0) return count_;
    const auto end = static_cast<std::size_t>(length);
    for (std::size_t at = 0; at < end;) {
      inotify_event event = {};
      std::memcpy(&event, buffer.data() + at, sizeof(event));
      CHECK((event.mask & IN_Q_OVERFLOW) == 0);
      const char* const name = buffer.data() + at + sizeof(event);
      if (event.len > 0 && name_ == name) ++count_;
      at += sizeof(event) + event.len;
    }
  }
}

}  // namespace orvane::soak
