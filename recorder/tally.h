#ifndef RECORDER_TALLY_H_
#define RECORDER_TALLY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "proto/event.pb.h"

namespace orvane::recorder {

// Kinds of errors: values of the label "kind" of kErrorsTotal.
inline constexpr char kStorageFailed[] = "storage_failed";      // a record could not be stored
inline constexpr char kDatabaseDamaged[] = "database_damaged";  // it was renamed
inline constexpr char kNotAnEvent[] = "not_an_event";           // stored unparsed
inline constexpr char kTooLarge[] = "too_large";                // a record was refused
inline constexpr char kMetricsFileFailed[] = "metrics_file_failed";

// Upper bounds of the buckets of a signal histogram, in dBm.
inline constexpr std::array<int, 14> kSignalBounds = {-95, -90, -85, -80, -75, -70, -65,
                                                      -60, -55, -50, -45, -40, -35, -30};

// The increments of the metrics, under the names and labels of the metrics file. A sender of
// records can't choose the text of a label, except among names of enumerators.
class Tally {
 public:
  // The name and the labels, formatted as in the file but without braces. Labels may be empty.
  using Key = std::pair<std::string, std::string>;

  void AddRecord(std::string_view type, std::size_t size);
  void AddError(std::string_view kind);
  // `interface` is the name of a WifiInterface, or empty.
  void AddEntry(const std::string& interface,
                const access_infrastructure::proto::ClientEventInfo& event);
  void AddEntry(const std::string& interface,
                const access_infrastructure::proto::ClientProbeRequestInfo& report);

  // Returns the increments. The buckets of an interface are cumulative, complete and in order.
  std::vector<std::pair<Key, std::int64_t>> Counts() const;

 private:
  struct Histogram {
    std::array<std::int64_t, kSignalBounds.size() + 1> counts{};  // the last is above all bounds
    std::int64_t sum = 0;
  };

  std::map<Key, std::int64_t> counts_;
  std::map<std::string, Histogram> signals_;  // by interface
};

}  // namespace orvane::recorder

#endif  // RECORDER_TALLY_H_
