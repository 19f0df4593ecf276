# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# The recorder, the flags service, a radio and the bus disappear and come back.
# Clients: 2
# Bridge: yes

client=client1
# Only scans, which causes probe reports. It does not join, because a poll of a client that has just
# joined is fatal.
wanderer=client2

probes=connectionEventsProbeReqUpload=1

# has_probes COUNT: whether there are COUNT probe reports. Causes another one.
has_probes() {
  ask_client "$wanderer" scan >/dev/null
  has_rows probe_reports "$1"
}

# Waits for two more probe reports.
expect_records() { expect "records arrive" has_probes $(("$(count_rows probe_reports)" + 2)); }

# Whether the daemon has logged the loss of a batch. Causes another one.
has_lost_batch() {
  ask_client "$wanderer" scan >/dev/null
  printed daemon 'Error recording offline data: '
}

step "An access point with a client; the daemon steers, and uploads records each second."
set_flags "$probes" clientSteeringRootLqmFloor=30
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
start_clients
join "$client" 2400mhz
stay_away "$client"
start_traffic 20 "$client"
start_supervised_daemon --enable_client_steering --client_steering_interval=1 \
  --client_steering_poll_interval=2 --connection_event_upload_period=1
expect_records
expect_polls "$client"

step "The recorder is stopped. A batch is lost, and the daemon logs that:"
stop recorder || give_up "the recorder ends with status 0"
expect "the daemon logs the loss of a batch" has_lost_batch
grep 'Error recording' "$scratch/daemon.log" | head -n 1 | show
step "The recorder is started again. Records arrive."
start_recorder
expect_records

step "The flags service is stopped. A new floor has no effect."
stop flags || give_up "the flags service ends with status 0"
set_flags "$probes" clientSteeringRootLqmFloor=60
expect_polls "$client" 3
[[ "$(count_steered "$client")" == 0 ]] || give_up "nothing changes without the flags service"
step "It is started again, and the daemon reads it at once. The client is below the new floor:"
start_flags
expect_steered "$client"
show_steered "$client"

step "The interface at 2.4 GHz disappears while the daemon polls it:"
radio="$(radio_of wlan-2400mhz)"
iw dev wlan-2400mhz del
expect "the daemon logs that it is missing" \
  printed daemon 'Unable to get stations on interface: wlan-2400mhz$' 2
grep 'Unable to get' "$scratch/daemon.log" | tail -n 1 | show
stop hostapd-2400mhz || true
step "The interface comes back, and then the client. Polls find both:"
iw phy "$radio" interface add wlan-2400mhz type managed
start_hostapd 2400mhz
expect_attached 2400mhz
# A client that has not sent any data yet is fatal to a poll.
set_flags "$probes" clientSteering=disabled
expect "steering stops" printed daemon 'Client Steer Stopped'
missed="$(count_printed daemon 'Unable to get stations')"
join "$client" 2400mhz
set_flags "$probes" clientSteering=enabled clientSteeringRootLqmFloor=30
expect_polls "$client"
grep -E "$(poll_pattern "$client")" "$scratch/daemon.log" | tail -n 1 | show
[[ "$(count_printed daemon 'Unable to get stations')" == "$missed" ]] || give_up "the interface is found again"
[[ "$(count_printed daemon 'supervisor:')" == 0 ]] || give_up "the daemon was not restarted"

step "The bus is stopped, and its services end. The daemon ends with status 69 at each start:"
stop bus || true
for service in flags recorder; do
  wait_until "$patience" has_ended "$service" || give_up "$service ends without the bus"
  forget "$service" || true
done
expect "the daemon ends, twice" printed daemon 'supervisor: it ended with status 69$' 2
grep -B 1 'supervisor:' "$scratch/daemon.log" | head -n 2 | show
step "They are started again. The next daemon does all that the first one did:"
attached="$(count_attached 2400mhz)"
start_services
expect "it attaches" has_attached 2400mhz $((attached + 1))
expect_records
expect_polls "$client"
grep -E 'supervisor:|Client Steer Started|Starting the daemon' "$scratch/daemon.log" | tail -n 3 | show
stop daemon || give_up "the daemon ends with status 0"
stop bridge || give_up "the bridge ends with status 0"
