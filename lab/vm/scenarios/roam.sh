# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# A client moves between the bands. The daemon remembers its metric on each band. Its arrival on a band
# counts as a steer there. A replay of the trace steers as the daemon does.
# Clients: 2
# Bridge: yes

mover=client1
stays=client2

is_gone_from() { [[ -z "$(station_value "$1" "$mover" authorized)" ]]; }

move_to() {
  hold_daemon
  join "$mover" "$1"
  expect "it has left $2" is_gone_from "$2"
  polls_before="$(count_printed daemon "$(poll_pattern "$mover")")"
  release_daemon
}

# expect_arrival METRIC LAST_METRIC: waits for the second poll of the client since its arrival, the first
# one with a log line. The time since the last steer counts from the first poll.
expect_arrival() {
  local poll logged_at
  expect "the daemon remembers $2" printed daemon "$(poll_pattern "$mover")" $((polls_before + 1))
  poll="$(grep -E "$(poll_pattern "$mover")" "$scratch/daemon.log" | sed -n "$((polls_before + 1))p")"
  show <<<"$poll"
  [[ "$poll" =~ $(poll_pattern "$mover" "$1" "$2") ]] || give_up "the daemon remembers $2"
  logged_at="$(date --date="${poll%% VERBOSE*}" +%s%6N)"
  awk -v since="$(seconds_of "${poll##* }")" -v here=$((logged_at - released_at)) \
    'BEGIN { exit !(since * 1000000 <= here) }' || give_up "the time counts from its arrival"
}

# expect_sent_off COUNT BAND BAND_COUNT: waits until the client has been steered COUNT times in all, and
# BAND_COUNT times from this band. Holds the daemon, until the client has joined again.
expect_sent_off() {
  expect "the daemon steers it" printed daemon "$(steer_pattern "$mover")" "$1"
  expect "hostapd receives the command" printed "hostapd-$2" "CTRL_IFACE DISASSOCIATE $(address_of "$mover")" "$3"
  hold_daemon
  expect_steered "$mover" "$1"
  show_steered "$mover"
}

step "Two clients join at 2.4 GHz. One of them walks off and is steered:"
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
start_clients
join_all 2400mhz "$mover" "$stays"
stay_away "$mover"
start_traffic 40 "$mover" "$stays"
start_traced_daemon client_steering_interval=5 client_steering_lqm_hysteresis=5
# The steer interval has passed.
expect_polls "$mover" 4
hold_daemon
set_signal "$mover" -82
expect "the kernel hears it there" signal_is 2400mhz "$mover" -82
release_daemon
expect_sent_off 1 2400mhz 1

step "It joins at 5 GHz, a little nearer. It is new there, and the steer interval begins:"
set_signal "$mover" -75
move_to 5000mhz 2400mhz
expect_arrival '2[3456]' 0
step "After the steer interval it is steered:"
expect_sent_off 2 5000mhz 1

step "Back at 2.4 GHz, with the signal as before: the daemon remembers its metric there, so it stays:"
set_signal "$mover" -82
move_to 2400mhz 5000mhz
expect_arrival '1[789]' '1[789]'
expect_polls "$mover" 2
[[ "$(count_steered "$mover")" == 2 ]] || give_up "it stays at 2.4 GHz"

step "At 5 GHz again, weaker than before: the daemon remembers its metric there, too, and steers it:"
move_to 5000mhz 2400mhz
expect_arrival '1[789]' '2[3456]'
expect_sent_off 3 5000mhz 2
[[ "$(count_printed daemon 'Prune Station')" == 0 ]] || give_up "no client is forgotten"

stop daemon || give_up "the daemon ends with status 0"

step "A replay of the trace steers at the same polls:"
check_replay
