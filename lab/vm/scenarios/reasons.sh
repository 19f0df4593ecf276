# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# What the bridge writes: why clients fail to join and why they leave, their signals and rates, and how
# long a steered client is away.
# Clients: 3
# Bridge: yes

client=client1
mover=client2
# A radio that sends frames of stations that are not there.
air=client3
# Seconds after which hostapd probes a silent client.
readonly inactivity=3

# The value of an attribute in the last line of an event of a client.
last_value() {
  grep -E -- "$(line_pattern "$1" "$2" "$3")" "$scratch/bridge.log" | tail -n 1 |
    sed -nE "s/.* $4:([^ ]+).*/\1/p"
}

# Shows the last `count` lines of some events.
show_lines() {
  grep -E "writes: <3>AP-STA-($1) " "$scratch/bridge.log" | tail -n "${2:-1}" |
    sed 's/.*<3>//; s/ timestamp:.* client_mac:[^ ]*//' | show
}

expect_within() {
  [[ -n "$2" ]] || give_up "$1 is there"
  (($2 >= $3 - $4 && $2 <= $3 + $4)) || give_up "$1 is $3, within $4, not $2"
}

# The client's values in the kernel: the average signal in dBm, and the transmit rate in kbit/s.
kernel_has() { [[ "$(station_value 2400mhz "$client" 'signal avg')" == "$1" ]]; }

kernel_rate() { awk -v rate="$(station_value 2400mhz "$client" 'tx bitrate')" 'BEGIN { print rate * 1000 }'; }

step "hostapd starts on both bands, with the bridge between it and the daemon."
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
for band in 2400mhz 5000mhz; do
  [[ "$(ask_hostapd "$band" set ap_max_inactivity "$inactivity")" == OK ]] || give_up "hostapd takes a limit"
done
start_daemon --connection_event_upload_period=2
start_monitor "$air" 2400mhz
start_clients 2

step "A client joins and leaves, at -50 dBm and at -80:"
for signal in -50 -80; do
  set_signal "$client" "$signal"
  left="$(count_lines 2400mhz DISCONNECT "$client")"
  join "$client" 2400mhz
  start_traffic 40 "$client"
  expect "the kernel's average is $signal" kernel_has "$signal"
  stop traffic || true
  rate="$(kernel_rate)"
  leave "$client"
  expect_line 2400mhz DISCONNECT "$client" '' $((left + 1))
  show_lines 'AUTH|DISCONNECT' 2
  expect_within "the signal of a frame" "$(last_value 2400mhz AUTH "$client" frame_rssi)" "$signal" 1
  expect_within "the average" "$(last_value 2400mhz DISCONNECT "$client" avg_rssi)" "$signal" 1
  printf '     iw: %s kbit/s\n' "$rate"
  [[ "$(last_value 2400mhz DISCONNECT "$client" tx_rate_kbps)" == "$rate" ]] || give_up "the rate is iw's"
done
set_signal "$client" -50

step "It leaves by itself, and comes back with a wrong passphrase:"
join "$client" 2400mhz
leave "$client"
expect_line 2400mhz DISCONNECT "$client" 'event_reason:deauth_cli' 3
set_key "$client" "$wrong_key"
begin_to_join "$client" 2400mhz
expect_line 2400mhz CONNECT "$client" 'success:0 event_reason:psk_mismatch'
leave "$client"
set_key "$client" "$network_key"
show_lines 'CONNECT|DISCONNECT' 2

step "A station that does not exist authenticates. It acknowledges no frames:"
"$vm_programs/frames" "$air" --to wlan-2400mhz --kind authentication
expect "the bridge writes no_ack" printed bridge 'AP-STA-AUTH .* success:0 .*event_reason:no_ack'
show_lines AUTH

step "The client joins, is steered by a command, and comes back:"
connects="$(count_lines 2400mhz CONNECT "$client" 'success:1')"
join "$client" 2400mhz
expect_line 2400mhz CONNECT "$client" 'success:1' $((connects + 1))
[[ "$(hostapd_cli -p "$control_directory" -i wlan-2400mhz disassociate "$(address_of "$client")" \
  reason=5)" == OK ]] || give_up "the bridge passes a command on"
expect_line 2400mhz DISCONNECT "$client" 'steering_reason:steered'
expect_line 2400mhz AUTH "$client" 'steering_reason:steered' 1
show_lines 'DISCONNECT|AUTH' 2
came_ms="$(last_value 2400mhz AUTH "$client" timestamp)"
left_ms="$(last_value 2400mhz DISCONNECT "$client" timestamp)"
expect_within "the time since it was steered" "$(last_value 2400mhz AUTH "$client" steer_delta_ms)" \
  $((came_ms - left_ms)) 50
expect_line 2400mhz CONNECT "$client" 'success:1' $((connects + 2))

step "It falls silent: no radio hears it any more."
set_group "$client" 2
expect_line 2400mhz DISCONNECT "$client" 'event_reason:inactivity'
show_lines DISCONNECT
set_group "$client" 1

step "Another client moves to the other band without leaving the first:"
join "$mover" 2400mhz
expect_line 2400mhz CONNECT "$mover" 'success:1'
set_group "$mover" 2
set_group wlan-5000mhz 3
join "$mover" 5000mhz
expect_line 2400mhz DISCONNECT "$mover" 'event_reason:other_bss'
show_lines DISCONNECT

step "The database has all of these events:"
for reason in DISCONNECT_DEAUTH_CLI DISCONNECT_PSK_MISMATCH DISCONNECT_INACTIVITY NO_ACK \
  DISCONNECT_ASSOC_OTHER_BSS; do
  expect_rows "client_events WHERE event_reason = '$reason'"
done
expect_rows "client_events WHERE steering_reason = 'STEER'"
show_query "SELECT event_type, event_reason, steering_reason, count(*) AS events FROM client_events
  WHERE event_reason IS NOT NULL OR steering_reason IS NOT NULL GROUP BY 1, 2, 3"
! printed daemon 'Received unknown event' || give_up "the daemon knows every event"
stop daemon || give_up "the daemon ends with status 0"
stop bridge || give_up "the bridge ends with status 0"
