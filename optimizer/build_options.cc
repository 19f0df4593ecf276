#include "optimizer/build_options.h"

namespace orvane::ap {

const bool kSkipIncompleteStations = WAVELARK_SKIP_INCOMPLETE_STATIONS;

}  // namespace orvane::ap
