# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# Visits to networks of every kind, through the bridge. Each visit has exactly one AUTH, ASSOC, CONNECT
# and DISCONNECT in the log of the bridge and in the database. --rounds is the number of visits for each
# kind and band.
# Clients: 2
# Bridge: yes

readonly visits="${rounds:-3}"
readonly -A visitors=([2400mhz]=client1 [5000mhz]=client2)
readonly -A kinds=([AUTH]=AUTHENTICATE [ASSOC]=ASSOCIATE [CONNECT]=CONNECT [DISCONNECT]=DISCONNECT)

# Gives up unless the bridge has written each event of a band's visits once, with the right attributes.
check_lines() {
  local band="$1" client="${visitors[$1]}" event
  for event in "${!kinds[@]}"; do
    (("$(count_lines "$band" "$event" "$client")" == total)) ||
      give_up "$client has $total lines AP-STA-$event"
  done
  for event in AUTH ASSOC CONNECT; do
    (("$(count_lines "$band" "$event" "$client" 'success:1')" == total)) ||
      give_up "each $event of $client succeeds"
  done
  (("$(count_lines "$band" AUTH "$client" 'frame_rssi:-50')" == total)) ||
    give_up "each AUTH of $client has -50 dBm"
  (("$(count_lines "$band" DISCONNECT "$client" 'event_reason:deauth_cli')" == total)) ||
    give_up "$client leaves each time"
}

total=0
visit_both() {
  local band
  total=$((total + 1))
  for band in "${!visitors[@]}"; do join "${visitors[$band]}" "$band"; done
  for band in "${!visitors[@]}"; do leave "${visitors[$band]}"; done
  for band in "${!visitors[@]}"; do
    expect_line "$band" DISCONNECT "${visitors[$band]}" '' "$total"
  done
}

step "The recorder, the bridge and the daemon start."
start_services
make_control_directory
start_bridge
start_daemon --connection_event_upload_period=2

for network in secured protected sae open; do
  step "Network of kind $network: $visits visits of a client on each band. The last one:"
  start_hostapd 2400mhz
  start_hostapd 5000mhz
  start_clients
  for ((visit = 0; visit < visits; ++visit)); do visit_both; done
  check_lines 2400mhz
  check_lines 5000mhz
  grep -E "$(line_pattern 5000mhz '[A-Z]+' client2)" "$scratch/bridge.log" | tail -n 4 |
    sed 's/.*<3>//; s/ timestamp:.* client_mac:[^ ]*//' | show
  stop clients || true
  stop hostapd-2400mhz || give_up "hostapd ends with status 0"
  stop hostapd-5000mhz || give_up "hostapd ends with status 0"
done

step "The bridge's counters:"
kill -USR1 "${pids[bridge]}"
expect "the bridge logs its counters" printed bridge 'nl80211: [0-9]+ messages, 0 losses'
grep -h 'events in' "$scratch/bridge.log" | show

step "The database has each event once:"
# The events of a batch that is not yet uploaded would be lost when the daemon ends.
for band in WLAN_2400MHZ WLAN_5000MHZ; do
  expect_rows "client_events WHERE interface = '$band' AND event_type = 'DISCONNECT'" "$total"
done
stop daemon || give_up "the daemon ends with status 0"
! printed daemon 'Received unknown event' || give_up "the daemon knows every event"
for event in "${!kinds[@]}"; do
  for band in WLAN_2400MHZ WLAN_5000MHZ; do
    (("$(count_rows "client_events WHERE interface = '$band' AND event_type = '${kinds[$event]}'")" ==
      total)) || give_up "the database has $total $event of $band"
  done
done
show_query 'SELECT interface, event_type, count(*) AS events FROM client_events
  GROUP BY interface, event_type'
stop bridge || give_up "the bridge ends with status 0"
