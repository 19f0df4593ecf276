# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# From a stock hostapd to the database: a client joins, leaves, uses a wrong passphrase, is steered and
# moves to the other band. The recorder has rows for all of this, and its metrics are sums over the rows.
# Clients: 2
# Bridge: yes

client=client1
other=client2

source lab/vm/visits.sh

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
join_and_leave "$client"

step "It tries to join with a wrong passphrase."
try_wrong_passphrase "$client"

step "It joins, moves away, and is steered. It joins at 5 GHz."
join_to_be_steered "$client"
set_flags clientSteering=enabled connectionEventsProbeReqUpload=1
set_signal "$client" -82
expect_steered "$client"
set_flags clientSteering=disabled connectionEventsProbeReqUpload=1
join_after_steering "$client"

step "Another client joins at 5 GHz. Both leave:"
join "$other" 5000mhz
leave "$other"
leave "$client"
expect_rows "$(event DISCONNECT "$upper")" 2
expect_rows "probe_reports WHERE $lower"
show_visits

step "The daemon ends. The metrics are sums over the rows:"
stop daemon || give_up "the daemon ends with status 0"
expect "the metrics agree with the database" metrics_agree "$scratch/metrics.prom"
samples_of_file "$scratch/metrics.prom" | show
check_metrics "$scratch/metrics.prom"
check_metrics "$scratch/bridge.prom"

step "No record and no log of a service has an address. The daemon's log has both."
addresses() { printf '%s\n' "$(address_of "$client")" "$(address_of "$other")"; }
[[ "$(addresses | count_addresses "$scratch/daemon.log")" == 2 ]] || give_up "the log has both addresses"
dump_database
[[ "$(addresses | count_addresses "$scratch"/{database.sql,metrics.prom,recorder.log,flags.log})" == 0 ]] ||
  give_up "the recorder and the flags service write no address"
stop bridge || give_up "the bridge ends with status 0"
