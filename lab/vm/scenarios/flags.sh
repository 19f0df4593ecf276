# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# Steering is switched on, off and tuned at run time while clients move. A steered client stays away, so
# each client shows one thing.
# Clients: 4

far=client1
middle=client2
near=client3
last=client4

# The seconds between the last two polls of a client, by the times since the last steer that the daemon
# logs.
last_gap() {
  local times
  mapfile -t times < <(grep -E "$(poll_pattern "$1")" "$scratch/daemon.log" | tail -n 2)
  awk -v from="$(seconds_of "${times[0]##* }")" -v to="$(seconds_of "${times[1]##* }")" \
    'BEGIN { printf "%.1f", to - from }'
}

# Whether that is within limits. On a busy machine one gap may be longer, but not every one.
gap_is() {
  awk -v gap="$(last_gap "$1")" -v from="$2" -v to="$3" 'BEGIN { exit !(gap >= from && gap <= to) }'
}

# Moves a client, and waits until the daemon sees it where it is now.
walk() {
  local metric=$(($2 + 100))
  set_signal "$1" "$2"
  expect "the daemon sees $1 at $2 dBm" \
    printed daemon "$(poll_pattern "$1" "($((metric - 1))|$metric|$((metric + 1)))")"
}

expect_never_steered() {
  [[ "$(count_steered "$1")" == 0 ]] || give_up "$2"
}

step "Four clients join at 2.4 GHz, one of them far below the floor. Steering is off."
start_services
start_hostapd 2400mhz
set_signal "$far" -82
start_clients
join_all 2400mhz "$far" "$middle" "$near" "$last"
stay_away "$far" "$middle" "$near" "$last"
start_traffic 40 "$far" "$middle" "$near" "$last"
start_daemon --client_steering_interval=2 --client_steering_poll_interval=1 \
  --client_steering_lqm_hysteresis=5
sleep 3
! printed daemon link_quality_metric || give_up "no client is judged while steering is off"
expect_never_steered "$far" "no client is steered while steering is off"
has_joined "$far" 2400mhz || give_up "the far one stays"

step "Steering is switched on. The far client is steered, the others stay:"
set_flags clientSteering=enabled
expect "steering starts" printed daemon 'Client Steer Started  lqm_floor=30 '
expect_steered "$far"
show_steered "$far"

step "Steering is switched off. The far client comes back, and no poll judges it."
set_flags clientSteering=disabled
expect "steering stops" printed daemon 'Client Steer Stopped'
join "$far" 2400mhz
polls="$(count_printed daemon ' link_quality_metric ')"
sleep 3
[[ "$(count_printed daemon ' link_quality_metric ')" == "$polls" ]] || give_up "no poll while it is off"
has_joined "$far" 2400mhz || give_up "the far one stays while steering is off"

step "Steering is on again. The daemon remembers nothing, so the far client is steered with the same metric:"
set_flags clientSteering=enabled
expect "steering starts again" printed daemon 'Client Steer Started ' 2
expect_steered "$far" 2
show_steered "$far"
expect "its last metric is forgotten" \
  printed daemon "$(steer_pattern "$far").* last_steer_link_quality_metric 0$" 2

step "The middle client walks to -62 dBm, above the floor of 30. The floor rises to 45, and it is steered:"
walk "$middle" -62
expect_polls "$middle" 3
expect_never_steered "$middle" "the middle one stays above the floor"
set_flags clientSteering=enabled clientSteeringRootLqmFloor=45
expect_steered "$middle"
show_steered "$middle"

step "Floor and hysteresis rise above the near client: it stays. The hysteresis falls to 40: it is steered."
set_flags clientSteeringLqmHysteresis=60 clientSteeringRootLqmFloor=53
# Above the floor before the hysteresis falls.
walk "$last" -40
expect_polls "$near" 3
expect_never_steered "$near" "the near one stays within the hysteresis"
set_flags clientSteeringLqmHysteresis=40 clientSteeringRootLqmFloor=53
expect_steered "$near"
show_steered "$near"

step "The last client walks below the floor. It stays for now: the steer interval is an hour."
expect_never_steered "$last" "the last one is above the floor"
set_flags clientSteeringInterval=3600
expect_polls "$last"
set_flags clientSteeringInterval=3600 clientSteeringLqmHysteresis=5
walk "$last" -70
expect_polls "$last" 2
expect_never_steered "$last" "the last one stays for the steer interval"

step "The poll interval changes from 1 s to 3 s. Then the steer interval falls to 2 s: the client is steered."
expect "polls are a second apart" gap_is "$last" 0.5 2
printf '     %s s\n' "$(last_gap "$last")"
set_flags clientSteeringPollInterval=3
expect_polls "$last" 2
expect "polls are three seconds apart" gap_is "$last" 2.5 4.5
printf '     %s s\n' "$(last_gap "$last")"
set_flags clientSteeringInterval=2 clientSteeringPollInterval=1
expect_steered "$last"
show_steered "$last"

stop daemon || give_up "the daemon ends with status 0"
