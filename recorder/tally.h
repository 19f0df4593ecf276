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

// What can go wrong, as the label "kind" of kErrorsTotal.
inline constexpr char kStorageFailed[] = "storage_failed";      // a record could not be stored
inline constexpr char kDatabaseDamaged[] = "database_damaged";  // it was put aside
inline constexpr char kNotAnEvent[] = "not_an_event";           // stored raw instead
inline constexpr char kTooLarge[] = "too_large";                // a record was refused
inline constexpr char kMetricsFileFailed[] = "metrics_file_failed";

inline constexpr std::array<std::string_view, 5> kErrorKinds = {
    kStorageFailed, kDatabaseDamaged, kNotAnEvent, kTooLarge, kMetricsFileFailed};

// Upper bounds of the buckets of a signal histogram, in dBm.
inline constexpr std::array<int, 14> kSignalBounds = {-95, -90, -85, -80, -75, -70, -65,
                                                      -60, -55, -50, -45, -40, -35, -30};

// What records add to the metrics, under the names and labels of the metrics file. No label has
// anything in it that a record's sender can choose but the name of an enumerator.
class Tally {
 public:
  // Name and labels. The labels are as in the file, without braces; they may be empty.
  using Key = std::pair<std::string, std::string>;

  void AddRecord(std::string_view type, std::size_t size);
  void AddError(std::string_view kind);
  // `interface` is the name of a WifiInterface, or empty.
  void AddEntry(const std::string& interface,
                const access_infrastructure::proto::ClientEventInfo& event);
  void AddEntry(const std::string& interface,
                const access_infrastructure::proto::ClientProbeRequestInfo& report);

  void Merge(const Tally& other);

  // The increments. The buckets of an interface are cumulative, all there, and in order.
  std::vector<std::pair<Key, std::int64_t>> Counts() const;

 private:
  struct Histogram {
    std::array<std::int64_t, kSignalBounds.size() + 1> counts{};  // the last is beyond all bounds
    std::int64_t sum = 0;
  };

  std::map<Key, std::int64_t> counts_;
  std::map<std::string, Histogram> signals_;  // by interface
};

}  // namespace orvane::recorder

#endif  // RECORDER_TALLY_H_
