#include "wavelarkctl/progress.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace orvane::wavelarkctl {
namespace {

constexpr auto kPatience = std::chrono::seconds(2);
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr char kClearLine[] = "\r\033[K";

}  // namespace

Progress::Progress(std::string noun)
    : noun_(std::move(noun)),
      is_terminal_(isatty(STDERR_FILENO) == 1),
      next_(std::chrono::steady_clock::now() + kPatience) {}

Progress::~Progress() {
  if (is_shown_) std::cerr << kClearLine << std::flush;
}

void Progress::Show() {
  const auto now = std::chrono::steady_clock::now();
  if (!is_terminal_ || now < next_) return;
  next_ = now + kInterval;
  is_shown_ = true;
  std::cerr << kClearLine << count_ << ' ' << noun_ << std::flush;
}

}  // namespace orvane::wavelarkctl
