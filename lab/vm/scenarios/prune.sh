# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# The daemon forgets a steered client that stays away for two steer intervals, but not one that comes back
# in time.
# Clients: 3
# Bridge: yes

stays=client1
returns=client2
leaves=client3
steer_interval=3

prune_pattern() { printf 'Prune Station %s$' "$(address_of "$1")"; }

# The seconds from the steer of the client that leaves until the daemon forgot it, by the times in the log
# lines about the client that stays.
seconds_until_pruned() {
  awk -v from="$(steer_pattern "$leaves")" -v to="Prune Station $(address_of "$leaves")" \
    -v poll="$(address_of "$stays") link_quality_metric" '
      index($0, poll) { now = $NF; minutes = split(now, part, "m") > 1 ? part[1] : 0
                        now = 60 * minutes + part[minutes ? 2 : 1] }
      index($0, from) { start = now }
      index($0, to) { printf "%.0f", now - start; exit }' "$scratch/daemon.log"
}

step "Three clients join at 2.4 GHz, two of them far."
start_services
start_hostapd 2400mhz
set_signal "$returns" -82
set_signal "$leaves" -82
start_clients
join_all 2400mhz "$stays" "$returns" "$leaves"
stay_away "$returns" "$leaves"
start_traffic 20 "$stays" "$returns" "$leaves"

step "The daemon starts, with a steer interval of $steer_interval s. It steers both:"
start_daemon --enable_client_steering --client_steering_interval="$steer_interval" \
  --client_steering_poll_interval=2 --client_steering_lqm_hysteresis=5
expect "both are steered" printed daemon ' Steer Client ' 2
expect "hostapd receives both commands" printed hostapd-2400mhz 'CTRL_IFACE DISASSOCIATE' 2
hold_daemon
expect_steered "$returns"
expect_steered "$leaves"
show_steered "$returns"
show_steered "$leaves"

step "One comes back. The daemon remembers its metric, so it stays:"
join "$returns" 2400mhz
release_daemon
expect "it is remembered" printed daemon "$(poll_pattern "$returns" '1[789]' '1[789]')"
grep -E "$(poll_pattern "$returns")" "$scratch/daemon.log" | tail -n 1 | show

step "The other is forgotten after two steer intervals:"
expect "it is forgotten" printed daemon "$(prune_pattern "$leaves")"
grep 'Prune Station' "$scratch/daemon.log" | show
seconds="$(seconds_until_pruned)"
printf '     %s s after it was steered\n' "$seconds"
((seconds >= 2 * steer_interval)) || give_up "it is not forgotten earlier"

step "Now it comes back, too. The daemon knows nothing of it, and steers it again:"
hold_daemon
join "$leaves" 2400mhz
release_daemon
expect_steered "$leaves" 2
show_steered "$leaves"
expect "its last metric is forgotten" \
  printed daemon "$(steer_pattern "$leaves").* last_steer_link_quality_metric 0$" 2

step "The one that came back in time was not steered again, and no other client was forgotten."
[[ "$(count_steered "$returns")" == 1 ]] || give_up "it is steered only once"
for client in "$returns" "$stays"; do
  ! printed daemon "$(prune_pattern "$client")" || give_up "$client is not forgotten"
done
stop daemon || give_up "the daemon ends with status 0"
