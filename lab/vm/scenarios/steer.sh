# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# A client walks away, is steered, comes back, and is judged again. A replay of the trace steers as the
# daemon does.
# Clients: 2
# Bridge: yes

walker=client1
near=client2
address="$(address_of "$walker")"
steer_interval=4

# The last metric of a client in the daemon's log.
last_metric() {
  sed -nE "s/.* $(address_of "$1") link_quality_metric ([0-9]+) last_.*/\1/p" "$scratch/daemon.log" |
    tail -n 1
}

# Whether the daemon's metric of a client is that of the kernel's average signal.
agrees() { [[ "$(last_metric "$1")" == $(("$(station_value 2400mhz "$1" 'signal avg')" + 100)) ]]; }

settles_at() { signal_is 2400mhz "$walker" "$1" && agrees "$walker"; }

step "Two clients join at 2.4 GHz, both near."
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
start_clients
join "$walker" 2400mhz
join "$near" 2400mhz
stay_away "$walker"
start_traffic 40 "$walker" "$near"

step "The daemon starts, steering: floor 30, hysteresis 5, interval $steer_interval s, poll interval 2 s."
start_traced_daemon client_steering_interval="$steer_interval" client_steering_lqm_hysteresis=5

step "One of them walks off slowly. The daemon's metric follows the signal:"
for signal in -50 -58 -66; do
  set_signal "$walker" "$signal"
  expect "the daemon sees $signal dBm" settles_at "$signal"
  printf '     iw: %s dBm, the daemon: %s\n' "$(station_value 2400mhz "$walker" 'signal avg')" \
    "$(last_metric "$walker")"
done
expect "the daemon sees the near one as iw does" agrees "$near"
! printed daemon 'Steer Client' || give_up "no client is steered above the floor"

step "It falls below the floor. The daemon steers it with reason 5:"
# Otherwise a poll could see an average between the two signals.
hold_daemon
set_signal "$walker" -82
expect "the kernel hears it there" signal_is 2400mhz "$walker" -82
release_daemon
expect "the daemon steers it" printed daemon "Steer Client $address "
expect "hostapd receives the command" printed hostapd-2400mhz "DISASSOCIATE $address"
hold_daemon
expect "the client is disconnected" printed clients "^$walker: CTRL-EVENT-DISCONNECTED .*reason=5"
grep 'Steer Client' "$scratch/daemon.log" | show
grep "^$walker: CTRL-EVENT-DISCONNECTED" "$scratch/clients.log" | show

step "It comes back at once, as weak as before. Its metric has not changed, so it stays."
join "$walker" 2400mhz
release_daemon
as_weak="$(poll_pattern "$walker" '(1[789]|20)' '(1[789]|20)')"
expect "it is polled after the steer interval" printed daemon "$as_weak last steer ([5-9]|[1-9][0-9])(\.[0-9]+)?s"
[[ "$(count_printed daemon "Steer Client $address ")" == 1 ]] || give_up "it is steered only once"

step "Its signal falls further, by more than the hysteresis. It is steered again:"
hold_daemon
set_signal "$walker" -92
expect "the kernel hears it there" signal_is 2400mhz "$walker" -92
release_daemon
expect "the daemon steers it again" printed daemon "Steer Client $address " 2
expect "the client is disconnected again" \
  printed clients "^$walker: CTRL-EVENT-DISCONNECTED .*reason=5" 2
grep 'Steer Client' "$scratch/daemon.log" | tail -n 1 | show

step "The near client was never steered."
! printed clients "^$near: CTRL-EVENT-DISCONNECTED" || give_up "the near client stays"
stop daemon || give_up "the daemon ends with status 0"

step "A replay of the trace steers at the same polls:"
check_replay
