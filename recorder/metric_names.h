#ifndef RECORDER_METRIC_NAMES_H_
#define RECORDER_METRIC_NAMES_H_

namespace orvane::recorder {

inline constexpr char kClientEventsTotal[] = "ap_wavelark_client_events_total";
inline constexpr char kProbeReportsTotal[] = "ap_wavelark_probe_reports_total";
inline constexpr char kRecordsTotal[] = "ap_wavelark_records_total";
inline constexpr char kRecordBytesTotal[] = "ap_wavelark_record_bytes_total";
inline constexpr char kErrorsTotal[] = "ap_wavelark_errors_total";
inline constexpr char kSignal[] = "ap_wavelark_signal_dbm";
inline constexpr char kSignalBuckets[] = "ap_wavelark_signal_dbm_bucket";
inline constexpr char kSignalSum[] = "ap_wavelark_signal_dbm_sum";
inline constexpr char kSignalCount[] = "ap_wavelark_signal_dbm_count";
inline constexpr char kLastRecordTimestamp[] = "ap_wavelark_last_record_timestamp_seconds";

}  // namespace orvane::recorder

#endif  // RECORDER_METRIC_NAMES_H_
