#ifndef TESTBED_PLAYED_DAYS_H_
#define TESTBED_PLAYED_DAYS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/time.h"
#include "proto/event.pb.h"

namespace orvane::testbed {

// An event and its interface.
struct PlayedEvent {
  access_infrastructure::proto::WifiInterface interface;
  access_infrastructure::proto::ClientEventInfo info;
};

// Stores events in a database through the recorder's own store, in the same records as the
// daemon's: one for each interface and upload period. Aborts on failure.
void StoreEvents(const std::vector<PlayedEvent>& events, const platform::FilePath& database);

// Parameters of simulated days of a typical access point.
struct PlayedDays {
  platform::WallTime end;  // end of the last day
  int days = 7;
  int clients = 60;
  double visits_per_day = 6;  // per client
  std::uint64_t seed = 1;
};

// Returns the events of those days, sorted by time. The same parameters give the same events.
//
// Clients join and leave by day, on both bands. Some walk away and are steered, some are at the
// edge and alternate between the bands, one has a wrong passphrase, one does not acknowledge.
std::vector<PlayedEvent> PlayDays(const PlayedDays& plan);

}  // namespace orvane::testbed

#endif  // TESTBED_PLAYED_DAYS_H_
