#ifndef WAVELARKCTL_PROGRESS_H_
#define WAVELARKCTL_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace orvane::wavelarkctl {

// Shows a count on standard error, if that is a terminal and the work takes over two seconds. The
// destructor removes the line.
class Progress {
 public:
  // `noun` is what is counted, in the plural.
  explicit Progress(std::string noun);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Add() {
    if (++count_ % kStep == 0) Show();
  }

 private:
  static constexpr std::size_t kStep = 10'000;

  void Show();

  std::string noun_;
  bool is_terminal_;
  std::size_t count_ = 0;
  std::chrono::steady_clock::time_point next_;
  bool is_shown_ = false;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_PROGRESS_H_
