# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# A client that was sent off and stays away is forgotten after two steer intervals. One that comes back
# in time is not.
# Clients: 3
# Bridge: yes

stays=client1
returns=client2
leaves=client3
steer_interval=3

prune_pattern() { printf 'Prune Station %s$' "$(address_of "$1")"; }

# How many seconds after the one that leaves was sent off it was forgotten, by the time that the daemon
# counts for the one that stays.
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

step "The daemon starts, with a steer interval of $steer_interval s. Both have to go:"
start_daemon --enable_client_steering --client_steering_interval="$steer_interval" \
  --client_steering_poll_interval=2 --client_steering_lqm_hysteresis=5
expect "both are sent off" told daemon ' Steer Client ' 2
expect "hostapd is told" told hostapd-2400mhz 'CTRL_IFACE DISASSOCIATE' 2
hold_daemon
expect_steered "$returns"
expect_steered "$leaves"
show_steered "$returns"
show_steered "$leaves"

step "One comes back. What was remembered of it holds, so it may stay:"
join "$returns" 2400mhz
release_daemon
expect "it is remembered" told daemon "$(poll_pattern "$returns" '1[789]' '1[789]')"
grep -E "$(poll_pattern "$returns")" "$scratch/daemon.log" | tail -n 1 | show

step "The other is forgotten when it is away for two steer intervals:"
expect "it is forgotten" told daemon "$(prune_pattern "$leaves")"
grep 'Prune Station' "$scratch/daemon.log" | show
seconds="$(seconds_until_pruned)"
printf '     %s s after it was sent off\n' "$seconds"
((seconds >= 2 * steer_interval)) || give_up "it is not forgotten before"

step "Now it comes back, too. It has no past, and so has to go again:"
hold_daemon
join "$leaves" 2400mhz
release_daemon
expect_steered "$leaves" 2
show_steered "$leaves"
expect "nothing was known of it" \
  told daemon "$(steer_pattern "$leaves").* last_steer_link_quality_metric 0$" 2

step "The one that came back in time was never sent off again, and nobody else forgotten."
[[ "$(count_steered "$returns")" == 1 ]] || give_up "it is sent off only once"
for client in "$returns" "$stays"; do
  ! told daemon "$(prune_pattern "$client")" || give_up "$client is not forgotten"
done
stop daemon || give_up "the daemon ends with status 0"
