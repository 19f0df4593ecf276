#ifndef FLAGS_FLAGS_PUBLISHER_H_
#define FLAGS_FLAGS_PUBLISHER_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "flags/directory_watch.h"
#include "flags/flags_text.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"

namespace orvane::flags {

// Keeps the map that is published: that of the files, once they have not changed for a moment, as
// long as all of them are good and nobody is writing one; otherwise the last good one, which is
// empty at first. What is wrong is logged once,
// not each time that the files are read.
class FlagsPublisher {
 public:
  // `on_published` runs on the loop whenever the map has changed. The loop must outlive this.
  FlagsPublisher(platform::Loop& loop, std::vector<platform::FilePath> directories,
                 std::function<void()> on_published);

  const FlagMap& flags() const { return flags_; }

 private:
  void OnChange();
  void Update();
  void Take(Reading reading);
  bool WaitForWriter();
  void Report(const Reading& reading);

  std::vector<platform::FilePath> directories_;
  std::function<void()> on_published_;
  FlagMap flags_;
  // What was wrong with the files when they were last read.
  std::vector<std::string> errors_;
  std::vector<std::string> warnings_;
  platform::OneShotTimer settle_timer_;
  platform::OneShotTimer patience_timer_;
  DirectoryWatch watch_;
  // As read once; taken when it is read again and nobody was noticed meanwhile.
  std::optional<Reading> candidate_;
};

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_PUBLISHER_H_
