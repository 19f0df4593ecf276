# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# A tour of what the daemon does, step by step, for new users.
# Clients: 2
# Bridge: yes

walker=client1
neighbour=client2
readonly steer_interval=3

show_access_point() {
  step "An access point: Linux $(uname -r), $(hostapd -v 2>&1 | head -n 1), two simulated radios."
  start_hostapd 2400mhz
  start_hostapd 5000mhz
  iw dev | awk '/Interface wlan/ { name = $2 } /channel/ && name { print name ": channel " $2; name = "" }' |
    sort | show
  step "The bridge runs between it and the daemon, and adds what Debian's hostapd does not report:"
  grep -h 'Attached to hostapd' "$scratch/bridge.log" | show
}

show_clients() {
  step "Two clients join at 2.4 GHz. hostapd lists them:"
  start_clients
  join "$walker" 2400mhz
  join "$neighbour" 2400mhz
  stay_away "$walker" "$neighbour"
  set_signal "$neighbour" -60
  start_traffic 40 "$walker" "$neighbour"
  ask_hostapd 2400mhz list_sta | show
}

show_daemon() {
  step "The recorder, the flags service and the daemon start. It steers clients below a metric of 30, or -70 dBm:"
  set_flags connectionEvents=enabled
  start_services
  start_daemon --enable_client_steering --client_steering_interval="$steer_interval" \
    --client_steering_poll_interval=2 --connection_event_upload_period=3
  expect "steering starts" printed daemon 'Client Steer Started'
  grep 'Client Steer Started' "$scratch/daemon.log" | show
}

show_steering() {
  step "One of them, $(address_of "$walker"), walks off. What the daemon logs at each poll:"
  set_signal "$walker" -82
  expect "the walker is steered" printed daemon "$(steer_pattern "$walker")"
  grep -E "$(poll_pattern "$walker")" "$scratch/daemon.log" | tail -n 3 | show
  step "Below the floor for more than $steer_interval s: hostapd disassociates it. The client logs:"
  expect "the client is disconnected" printed clients "^$walker: CTRL-EVENT-DISCONNECTED .*reason=5"
  # A poll while it joins again would be fatal.
  hold_daemon
  grep "^$walker: CTRL-EVENT-DISCONNECTED" "$scratch/clients.log" | show
}

show_return() {
  step "It joins at 5 GHz, where its signal is better:"
  set_signal "$walker" -50
  join "$walker" 5000mhz
  expect "the kernel hears it there" signal_is 5000mhz "$walker" -50
  release_daemon
  expect_event 5000mhz kStationConnected
  printf 'wlan-5000mhz: %s, %s dBm\n' "$(address_of "$walker")" \
    "$(station_value 5000mhz "$walker" 'signal avg')" | show
}

show_flags() {
  step "The flags service raises the floor to 45. Now the neighbour is too weak at -60 dBm, and is steered:"
  ! printed daemon "$(steer_pattern "$neighbour")" || give_up "the neighbour stays until then"
  set_flags connectionEvents=enabled clientSteeringRootLqmFloor=45
  expect "the neighbour is steered" printed daemon "$(steer_pattern "$neighbour")"
  expect "hostapd receives the command" printed hostapd-2400mhz "DISASSOCIATE $(address_of "$neighbour")"
  hold_daemon
  show_steered "$neighbour"
  expect "the neighbour leaves" printed clients "^$neighbour: CTRL-EVENT-DISCONNECTED .*reason=5"
  join "$neighbour" 2400mhz
  step "The flags service switches steering off:"
  set_flags clientSteering=disabled
  release_daemon
  expect "steering stops" printed daemon 'Client Steer Stopped'
  grep 'Client Steer Stopped' "$scratch/daemon.log" | show
}

# The events of the client that was last at 5 GHz.
readonly time_line="SELECT substr(time, 12) AS time, interface, event_type AS event,
  signal_dbm AS dBm, coalesce(event_reason, steering_reason, '') AS reason
  FROM timeline WHERE client_shmac =
    (SELECT client_shmac FROM client_events WHERE interface = 'WLAN_5000MHZ' ORDER BY record_id LIMIT 1)"

show_records() {
  local address
  step "The daemon uploads events in batches. The recorder's database about the client that walked off:"
  expect_rows "client_events WHERE interface = 'WLAN_5000MHZ' AND event_type = 'CONNECT'"
  expect_rows "client_events WHERE interface = 'WLAN_2400MHZ' AND event_type = 'DISCONNECT'" 2
  show_query "$time_line"
  address="$(address_of "$walker")"
  (("$(count_addresses "$scratch/daemon.log" <<<"$address")" == 1)) ||
    give_up "the log has the address"
  dump_database
  (("$(count_addresses "$scratch"/{database.sql,metrics.prom} <<<"$address")" == 0)) ||
    give_up "no address is in the database"
}

show_explanation() {
  local status=0
  step "wavelarkctl explains from the daemon's log why it was steered:"
  "$wavelarkctl" explain --client "$(address_of "$walker")" "$scratch/daemon.log" \
    >"$scratch/explanation" 2>&1 || status=$?
  # Status 1: something needs attention.
  ((status <= 1)) || { cat "$scratch/explanation" && give_up "wavelarkctl explains the log"; }
  grep -q STEERED "$scratch/explanation" || give_up "wavelarkctl finds the steer"
  show <"$scratch/explanation"
}

show_access_point
show_clients
show_daemon
show_steering
show_return
show_flags
show_records
show_explanation
step "On SIGTERM the daemon and the bridge end with exit status 0."
stop daemon || give_up "the daemon ends with exit status 0"
stop bridge || give_up "the bridge ends with exit status 0"
expect "the bridge detaches from hostapd" printed hostapd-2400mhz 'monitor detached'
