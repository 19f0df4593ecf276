#include "platform/inotify.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "platform/logging.h"

namespace orvane::platform {

Inotify::Inotify() : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) { CHECK(fd_.is_valid()); }

int Inotify::Add(const FilePath& path, std::uint32_t mask) const {
  return inotify_add_watch(fd_.get(), path.c_str(), mask);
}

void Inotify::Remove(int watch) const { inotify_rm_watch(fd_.get(), watch); }

void Inotify::Read(const Callback& callback) const {
  // The kernel returns whole records only. The buffer has room for one with the longest name.
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t length =
        RetryOnEintr([&] { return read(fd_.get(), buffer.data(), buffer.size()); });
    if (length <= 0) return;
    std::string_view records(buffer.data(), static_cast<std::size_t>(length));
    while (!records.empty()) {
      inotify_event event;
      std::memcpy(&event, records.data(), sizeof(event));
      const char* name = records.data() + sizeof(event);
      callback(event.wd, event.mask, std::string_view(name, strnlen(name, event.len)));
      records.remove_prefix(sizeof(event) + event.len);
    }
  }
}

}  // namespace orvane::platform
