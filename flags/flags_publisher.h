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

// Holds the published map. It is the map of the files once they have not changed for a moment,
// provided that all of them are valid and none is being written. Otherwise it is the last valid
// map, which is initially empty. A problem is logged once, not at each reading.
class FlagsPublisher {
 public:
  // `on_published` runs on the loop when the map has changed. The loop must outlive this object.
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
  // The problems at the last reading.
  std::vector<std::string> errors_;
  std::vector<std::string> warnings_;
  platform::OneShotTimer settle_timer_;
  platform::OneShotTimer patience_timer_;
  DirectoryWatch watch_;
  // The first reading. It is published if a second one is equal and no write was noticed in
  // between.
  std::optional<Reading> candidate_;
};

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_PUBLISHER_H_
