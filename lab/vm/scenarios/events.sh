# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# Stock hostapd tells of its clients in short, which makes no record. A stand-in beside it tells more,
# and that arrives at the recorder, first from the one band, then from the other.

visitor=02:ab:cd:12:34:56

# The visit of a client, as a talkative hostapd tells it. It comes at once, since a visit that takes
# longer than the upload period would make two records.
write_visit() {
  write "$scratch/visit" <<EVENTS
0.0 wlan-$1 <3>AP-STA-AUTH $visitor success:1 frame_rssi:-52 probe_delta_ms:310
0.0 wlan-$1 <3>AP-STA-ASSOC $visitor success:1 frame_rssi:-51 steering_reason:new-station
0.0 wlan-$1 <3>AP-STA-CONNECT $visitor success:1 avg_rssi:-50 tx_rate_kbps:866700 tx_rate_bw:80
0.0 wlan-$1 <3>AP-MONITOR-STA-INFO $visitor mode:vht
0.0 wlan-$1 <3>AP-STA-DISCONNECT $visitor success:1 event_reason:inactivity
EVENTS
}

start_standin() {
  write_visit "$1"
  start "standin-$1" "$programs/hostapd_standin" --interface "wlan-$1" --script "$scratch/visit"
}

# Waits for the record of a visit, and shows it. The bands are named as in records.
expect_record() {
  local event
  expect "a record of the visit arrives, from $1" told recorder \
    "RecordOfflineData .*/access_infrastructure\.proto\.Event, .*: $1, 4 client events, $2 probe reports"
  expect "it is decoded" told recorder '^  [0-9:.]{12} DISCONNECT .* event_reason: DISCONNECT_INACTIVITY'
  for event in "AUTHENTICATE .* event_frame_rssi_in_dbm: -52" \
    "ASSOCIATE .* steering_reason: NOSTEER_NEW_STATION" "CONNECT .* bitrate_kbps: 866700"; do
    expect "the record has $event" told recorder "^  [0-9:.]{12} $event"
  done
  show <"$scratch/recorder.log"
}

step "hostapd serves 2.4 GHz, a stand-in 5 GHz. A client joins at 2.4 GHz, another visits 5 GHz:"
start_services
start_hostapd 2400mhz
start_standin 5000mhz
start_clients
start_daemon --connection_event_upload_period=2
join client1 2400mhz
expect_event 2400mhz kStationConnected
for event in kStationAuth kStationAssoc kStationConnect kStationMonitorInfo kStationDisconnect; do
  expect_event 5000mhz "$event"
done
grep EventCallback "$scratch/daemon.log" | show

step "The recorder gets a record of the visit, and none of what hostapd says in short:"
leave client1
expect_event 2400mhz kStationDisconnected
expect_record WLAN_5000MHZ 0
[[ "$(count_told recorder 'RecordOfflineData')" == 1 ]] || give_up "there is one record"

step "They change places. A flag asks for probe reports, too:"
set_flags connectionEventsProbeReqUpload=1
expect "the flag takes effect" told daemon 'Set probe_req_event_upload to 1$'
stop hostapd-2400mhz || give_up "hostapd ends well"
stop standin-5000mhz || give_up "the stand-in ends well"
start_hostapd 5000mhz
expect_attached 5000mhz
join client1 5000mhz
expect_event 5000mhz kStationConnected
# Of the second record only.
stop recorder || give_up "the recorder ends well"
start recorder "$programs/metrics_recorder" --keep "$scratch/records"
expect "the recorder starts again" told recorder '^started as'
start_standin 2400mhz
expect_record WLAN_2400MHZ 1

step "No record has an address; the log has them all."
addresses() { printf '%s\n' "$visitor" "$(address_of client1)"; }
records=("$scratch"/records/*)
[[ "$(addresses | count_addresses "$scratch/daemon.log")" == 2 ]] || give_up "the log has both addresses"
[[ "$(addresses | count_addresses "${records[@]}")" == 0 ]] || give_up "no record has an address"
stop daemon || give_up "the daemon ends with status 0"
