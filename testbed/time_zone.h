#ifndef TESTBED_TIME_ZONE_H_
#define TESTBED_TIME_ZONE_H_

#include <stdlib.h>
#include <time.h>

namespace orvane::testbed {

// Sets the local time zone of this process, in the form of TZ.
inline void SetTimeZone(const char* zone) {
  setenv("TZ", zone, /*overwrite=*/1);
  tzset();
}

}  // namespace orvane::testbed

#endif  // TESTBED_TIME_ZONE_H_
