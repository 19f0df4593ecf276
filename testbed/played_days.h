#ifndef TESTBED_PLAYED_DAYS_H_
#define TESTBED_PLAYED_DAYS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/time.h"
#include "proto/event.pb.h"

namespace orvane::testbed {

// An event and the interface that it happened on.
struct PlayedEvent {
  access_infrastructure::proto::WifiInterface interface;
  access_infrastructure::proto::ClientEventInfo info;
};

// Stores events in a database through the recorder's own store, in the records that the daemon
// makes of them: one for each interface and upload period. Failing is fatal.
void StoreEvents(const std::vector<PlayedEvent>& events, const platform::FilePath& database);

// Days of an access point that is as good and as bad as many are.
struct PlayedDays {
  platform::WallTime end;  // of the last day
  int days = 7;
  int clients = 60;
  double visits_per_day = 6;  // of one client
  std::uint64_t seed = 1;
};

// The events of those days in order of time. The same parameters give the same events.
//
// Clients come and go by day, on both bands. Some of them walk away and are steered, some are at
// the edge and bounce between the bands, one has a wrong passphrase, one does not acknowledge.
std::vector<PlayedEvent> PlayDays(const PlayedDays& plan);

}  // namespace orvane::testbed

#endif  // TESTBED_PLAYED_DAYS_H_
