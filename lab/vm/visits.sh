# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# Visits of a client and the rows that they leave, and a comparison of the recorder's metrics with its rows.
# For scenarios to source.

readonly lower="interface = 'WLAN_2400MHZ'" upper="interface = 'WLAN_5000MHZ'"

# event TYPE CONDITION: the rows of an event type, for count_rows.
event() { printf "client_events WHERE event_type = '%s' AND %s" "$1" "$2"; }

join_and_leave() {
  join "$1" 2400mhz
  leave "$1"
  expect_rows "$(event CONNECT "$lower AND is_event_success = 1")"
  expect_rows "$(event DISCONNECT "$lower AND event_reason = 'DISCONNECT_DEAUTH_CLI'")"
}

try_wrong_passphrase() {
  set_key "$1" "$wrong_key"
  begin_to_join "$1" 2400mhz
  expect_rows "$(event CONNECT \
    "$lower AND is_event_success = 0 AND event_reason = 'DISCONNECT_PSK_MISMATCH'")"
  leave "$1"
  set_key "$1" "$network_key"
}

# The client is near. Once it is steered, it waits for `join`.
join_to_be_steered() {
  join "$1" 2400mhz
  stay_away "$1"
  start_traffic 40 "$1"
  expect "the kernel's average is -50 dBm" signal_is 2400mhz "$1" -50
}

# The client is near again, and joins at 5 GHz after it was steered.
join_after_steering() {
  set_signal "$1" -50
  join "$1" 5000mhz
  expect_rows "$(event DISCONNECT "$lower AND steering_reason = 'STEER'")"
  expect_rows "$(event AUTHENTICATE "$upper AND steering_reason = 'STEER'")"
  expect_rows "$(event CONNECT "$upper AND is_event_success = 1")"
}

show_visits() {
  show_query "SELECT substr(time, 12) AS time, interface, event_type AS event, is_event_success AS ok,
    signal_dbm AS dBm, event_reason, steering_reason FROM timeline"
  show_query 'SELECT * FROM joins'
  show_query 'SELECT * FROM disconnects'
}

readonly event_samples="SELECT printf(
    'ap_wavelark_client_events_total{interface=\"%s\",type=\"%s\",success=\"%s\",reason=\"%s\"} %d',
    interface, event_type, CASE is_event_success WHEN 1 THEN 'true' WHEN 0 THEN 'false' ELSE '' END,
    coalesce(event_reason, ''), count(*))
  FROM client_events GROUP BY interface, event_type, is_event_success, event_reason"
readonly probe_samples="SELECT
    printf('ap_wavelark_probe_reports_total{interface=\"%s\"} %d', interface, count(*))
  FROM probe_reports GROUP BY interface"
readonly signal_samples="SELECT
    printf('ap_wavelark_signal_dbm_count{interface=\"%s\"} %d', interface, count(*))
  FROM event_signals GROUP BY interface
  UNION ALL SELECT
    printf('ap_wavelark_signal_dbm_sum{interface=\"%s\"} %d', interface, sum(signal_dbm))
  FROM event_signals GROUP BY interface"
readonly record_samples="SELECT
    printf('ap_wavelark_records_total{type=\"%s\"} %d', substr(type, instr(type, '/') + 1), count(*))
  FROM records GROUP BY type"

samples_of_database() {
  query "$event_samples; $probe_samples; $signal_samples; $record_samples" | sort
}

# samples_of_file FILE
samples_of_file() {
  grep -E '^ap_wavelark_(client_events_total|probe_reports_total|signal_dbm_(count|sum)|records_total)' "$1" |
    sort
}

# metrics_agree FILE
metrics_agree() { diff <(samples_of_database) <(samples_of_file "$1") >"$scratch/difference.log"; }

# check_metrics FILE
check_metrics() {
  promtool check metrics <"$1" >"$scratch/promtool" 2>&1 ||
    { show <"$scratch/promtool" && give_up "promtool accepts $1"; }
}
