# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# What the daemon works with goes away and comes back: the recorder, the flags service, a radio, the bus.
# Clients: 2
# Bridge: yes

client=client1
# Joins nothing: a poll of a client that has just joined is fatal. It looks for networks, which makes
# probe reports.
wanderer=client2

probes=connectionEventsProbeReqUpload=1

# Whether there are so many probe reports. Has another one made.
has_probes() {
  ask_client "$wanderer" scan >/dev/null
  has_rows probe_reports "$1"
}

# Waits for two more probe reports.
expect_records() { expect "records arrive" has_probes $(("$(count_rows probe_reports)" + 2)); }

# Whether the daemon says that a batch is lost. Has another one made.
has_lost_batch() {
  ask_client "$wanderer" scan >/dev/null
  told daemon 'Error recording offline data: '
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

step "The recorder goes. A batch is lost, which the daemon says:"
stop recorder || give_up "the recorder ends well"
expect "the daemon says that a batch is lost" has_lost_batch
grep 'Error recording' "$scratch/daemon.log" | head -n 1 | show
step "It comes back, and so do the records."
start_recorder
expect_records

step "The flags service goes, and the floor that it would have set stays unheard:"
stop flags || give_up "the flags service ends well"
set_flags "$probes" clientSteeringRootLqmFloor=60
expect_polls "$client" 3
[[ "$(count_steered "$client")" == 0 ]] || give_up "nothing changes without the flags service"
step "It comes back, and is asked at once: the client is below the new floor."
start_flags
expect_steered "$client"
show_steered "$client"

step "The radio of 2.4 GHz goes, while it is polled:"
radio="$(radio_of wlan-2400mhz)"
iw dev wlan-2400mhz del
expect "the daemon misses it" \
  told daemon 'Unable to get stations on interface: wlan-2400mhz$' 2
grep 'Unable to get' "$scratch/daemon.log" | tail -n 1 | show
stop hostapd-2400mhz || true
step "It comes back. Polls find it again, and find the client when that has come back, too:"
iw phy "$radio" interface add wlan-2400mhz type managed
start_hostapd 2400mhz
expect_attached 2400mhz
# A client that has not sent any data yet is fatal to a poll.
set_flags "$probes" clientSteering=disabled
expect "steering stops" told daemon 'Client Steer Stopped'
missed="$(count_told daemon 'Unable to get stations')"
join "$client" 2400mhz
set_flags "$probes" clientSteering=enabled clientSteeringRootLqmFloor=30
expect_polls "$client"
grep -E "$(poll_pattern "$client")" "$scratch/daemon.log" | tail -n 1 | show
[[ "$(count_told daemon 'Unable to get stations')" == "$missed" ]] || give_up "the radio is found again"
[[ "$(count_told daemon 'supervisor:')" == 0 ]] || give_up "the daemon has been running all the time"

step "The bus goes, and takes the services with it. The daemon ends with status 69, again and again:"
stop bus || true
for service in flags recorder; do
  wait_until "$patience" has_ended "$service" || give_up "$service ends without the bus"
  forget "$service" || true
done
expect "the daemon ends, twice" told daemon 'supervisor: it ended with status 69$' 2
grep -B 1 'supervisor:' "$scratch/daemon.log" | head -n 2 | show
step "They come back. The daemon is started once more and does all it did:"
attached="$(count_attached 2400mhz)"
start_services
expect "it attaches" has_attached 2400mhz $((attached + 1))
expect_records
expect_polls "$client"
grep -E 'supervisor:|Client Steer Started|Starting the daemon' "$scratch/daemon.log" | tail -n 3 | show
stop daemon || give_up "the daemon ends with status 0"
stop bridge || give_up "the bridge ends with status 0"
