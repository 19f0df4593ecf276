# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# From a stock hostapd to the database: a client joins, leaves, uses a wrong passphrase, is steered and
# moves to the other band. The recorder has rows for all of this, and its metrics are sums over the rows.
# Clients: 2
# Bridge: yes

client=client1
other=client2

readonly lower="interface = 'WLAN_2400MHZ'" upper="interface = 'WLAN_5000MHZ'"

# event TYPE CONDITION: the rows of an event type, for count_rows.
event() { printf "client_events WHERE event_type = '%s' AND %s" "$1" "$2"; }

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

samples_of_file() {
  grep -E '^ap_wavelark_(client_events_total|probe_reports_total|signal_dbm_(count|sum)|records_total)' \
    "$scratch/metrics.prom" | sort
}

metrics_agree() { diff <(samples_of_database) <(samples_of_file) >"$scratch/difference.log"; }

step "hostapd on both bands, the bridge, the recorder, the flags service and the daemon start."
set_flags connectionEventsProbeReqUpload=1
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
start_clients
start_daemon --connection_event_upload_period=2 --client_steering_interval=2 \
  --client_steering_poll_interval=1
expect "the flag takes effect" printed daemon 'Set probe_req_event_upload to 1$'

step "A client joins and leaves."
join "$client" 2400mhz
leave "$client"
expect_rows "$(event CONNECT "$lower AND is_event_success = 1")"
expect_rows "$(event DISCONNECT "$lower AND event_reason = 'DISCONNECT_DEAUTH_CLI'")"

step "It tries to join with a wrong passphrase."
set_key "$client" "$wrong_key"
begin_to_join "$client" 2400mhz
expect_rows "$(event CONNECT \
  "$lower AND is_event_success = 0 AND event_reason = 'DISCONNECT_PSK_MISMATCH'")"
leave "$client"
set_key "$client" "$network_key"

step "It joins, moves away, and is steered. It joins at 5 GHz."
join "$client" 2400mhz
stay_away "$client"
start_traffic 40 "$client"
expect "the kernel's average is -50 dBm" signal_is 2400mhz "$client" -50
set_flags clientSteering=enabled connectionEventsProbeReqUpload=1
set_signal "$client" -82
expect_steered "$client"
set_flags clientSteering=disabled connectionEventsProbeReqUpload=1
set_signal "$client" -50
join "$client" 5000mhz
expect_rows "$(event DISCONNECT "$lower AND steering_reason = 'STEER'")"
expect_rows "$(event AUTHENTICATE "$upper AND steering_reason = 'STEER'")"
expect_rows "$(event CONNECT "$upper AND is_event_success = 1")"

step "Another client joins at 5 GHz. Both leave:"
join "$other" 5000mhz
leave "$other"
leave "$client"
expect_rows "$(event DISCONNECT "$upper")" 2
expect_rows "probe_reports WHERE $lower"
show_query "SELECT substr(time, 12) AS time, interface, event_type AS event, is_event_success AS ok,
  signal_dbm AS dBm, event_reason, steering_reason FROM timeline"
show_query 'SELECT * FROM joins'
show_query 'SELECT * FROM disconnects'

step "The daemon ends. The metrics are sums over the rows:"
stop daemon || give_up "the daemon ends with status 0"
expect "the metrics agree with the database" metrics_agree
samples_of_file | show
for file in metrics bridge; do
  promtool check metrics <"$scratch/$file.prom" >"$scratch/promtool" 2>&1 ||
    { show <"$scratch/promtool" && give_up "promtool accepts $file.prom"; }
done

step "No record and no log of a service has an address. The daemon's log has both."
addresses() { printf '%s\n' "$(address_of "$client")" "$(address_of "$other")"; }
[[ "$(addresses | count_addresses "$scratch/daemon.log")" == 2 ]] || give_up "the log has both addresses"
dump_database
[[ "$(addresses | count_addresses "$scratch"/{database.sql,metrics.prom,recorder.log,flags.log})" == 0 ]] ||
  give_up "the recorder and the flags service write no address"
stop bridge || give_up "the bridge ends with status 0"
