# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# A client moves between the bands. What the daemon knows of it on each band stays; coming to a band
# counts like being sent off there.
# Clients: 2
# Bridge: yes

mover=client1
stays=client2

is_gone_from() { [[ -z "$(station_value "$1" "$mover" authorized)" ]]; }

# In microseconds. The daemon has not seen the client in its place before then.
released_at=

move_to() {
  hold_daemon
  join "$mover" "$1"
  expect "it has left $2" is_gone_from "$2"
  polls_before="$(count_told daemon "$(poll_pattern "$mover")")"
  released_at="${EPOCHREALTIME/[.,]/}"
  release_daemon
}

# Waits until the daemon has seen the client twice since it has come, with what is remembered of the
# band. It came one poll before that, and the time counts from then, whatever was before.
expect_arrival() {
  local poll logged_at
  expect "the daemon remembers $2" told daemon "$(poll_pattern "$mover")" $((polls_before + 1))
  poll="$(grep -E "$(poll_pattern "$mover")" "$scratch/daemon.log" | sed -n "$((polls_before + 1))p")"
  show <<<"$poll"
  [[ "$poll" =~ $(poll_pattern "$mover" "$1" "$2") ]] || give_up "the daemon remembers $2"
  logged_at="$(date --date="${poll%% VERBOSE*}" +%s%6N)"
  awk -v since="$(seconds_of "${poll##* }")" -v here=$((logged_at - released_at)) \
    'BEGIN { exit !(since * 1000000 <= here) }' || give_up "the time counts from its arrival"
}

# Waits until the client is sent off, so often in all, and so often from this band. The daemon is held
# until it has joined again.
expect_sent_off() {
  expect "the daemon has it sent off" told daemon "$(steer_pattern "$mover")" "$1"
  expect "hostapd is told" told "hostapd-$2" "CTRL_IFACE DISASSOCIATE $(address_of "$mover")" "$3"
  hold_daemon
  expect_steered "$mover" "$1"
  show_steered "$mover"
}

step "Two clients join at 2.4 GHz, one of them far. It has to go:"
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
set_signal "$mover" -82
start_clients
join_all 2400mhz "$mover" "$stays"
stay_away "$mover"
start_traffic 40 "$mover" "$stays"
start_daemon --enable_client_steering --client_steering_interval=5 \
  --client_steering_poll_interval=2 --client_steering_lqm_hysteresis=5
expect_sent_off 1 2400mhz 1

step "It joins at 5 GHz, a little nearer. Nothing is known of it there, and the time counts anew:"
set_signal "$mover" -75
move_to 5000mhz 2400mhz
expect_arrival '2[3456]' 0
step "When the steer interval is over, it has to go:"
expect_sent_off 2 5000mhz 1

step "Back at 2.4 GHz, as far as before: its metric there is remembered, so it may stay:"
set_signal "$mover" -82
move_to 2400mhz 5000mhz
expect_arrival '1[789]' '1[789]'
expect_polls "$mover" 2
[[ "$(count_steered "$mover")" == 2 ]] || give_up "it may stay at 2.4 GHz"

step "And at 5 GHz again, further than then: its metric there is remembered, too, and it has to go:"
move_to 5000mhz 2400mhz
expect_arrival '1[789]' '2[3456]'
expect_sent_off 3 5000mhz 2
[[ "$(count_told daemon 'Prune Station')" == 0 ]] || give_up "nobody is forgotten"

stop daemon || give_up "the daemon ends with status 0"
