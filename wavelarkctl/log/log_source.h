#ifndef WAVELARKCTL_LOG_LOG_SOURCE_H_
#define WAVELARKCTL_LOG_LOG_SOURCE_H_

#include <functional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Takes each line, without its line end. The view is valid during the call.
using LineSink = std::function<void(std::string_view line)>;

// The longest line that is read whole; the rest of a longer one is dropped.
inline constexpr std::size_t kMaxLogLine = std::size_t{64} << 10;

// Reads a file, or standard input if the name is "-". Throws a Failure (kUnavailable) if it can't
// be opened or read to its end.
void ReadLogFile(const std::string& name, const LineSink& sink);

// Reads the journal of the daemon's unit since a time. Before that, reads the last earlier line
// that shows the settings at the start of steering. Throws a Failure (kUnavailable) if journalctl
// fails.
void ReadJournal(platform::WallTime since, const LineSink& sink);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LOG_SOURCE_H_
