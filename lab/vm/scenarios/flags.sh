# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# Steering is switched on, off and tuned at run time, while clients move. A client that is sent off
# stays away, so that each shows one thing.
# Clients: 4

far=client1
middle=client2
near=client3
last=client4

# How many seconds lie between the last two polls of a client, by the time that the daemon counts for it.
last_gap() {
  local times
  mapfile -t times < <(grep -E "$(poll_pattern "$1")" "$scratch/daemon.log" | tail -n 2)
  awk -v from="$(seconds_of "${times[0]##* }")" -v to="$(seconds_of "${times[1]##* }")" \
    'BEGIN { printf "%.1f", to - from }'
}

# Whether that is within limits. One gap may be longer on a busy machine, but not all.
gap_is() {
  awk -v gap="$(last_gap "$1")" -v from="$2" -v to="$3" 'BEGIN { exit !(gap >= from && gap <= to) }'
}

# Moves a client, and waits until the daemon sees it where it is now.
walk() {
  local metric=$(($2 + 100))
  set_signal "$1" "$2"
  expect "the daemon sees $1 at $2 dBm" \
    told daemon "$(poll_pattern "$1" "($((metric - 1))|$metric|$((metric + 1)))")"
}

expect_never_steered() {
  [[ "$(count_steered "$1")" == 0 ]] || give_up "$2"
}

step "Four clients join at 2.4 GHz. One walks off, far below the floor; steering is off."
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
! told daemon link_quality_metric || give_up "nobody is looked at while steering is off"
expect_never_steered "$far" "nobody is sent off while steering is off"
has_joined "$far" 2400mhz || give_up "the far one is still there"

step "On: the far one has to go, the others stay."
set_flags clientSteering=enabled
expect "steering starts" told daemon 'Client Steer Started  lqm_floor=30 '
expect_steered "$far"
show_steered "$far"

step "Off: the far one comes back. No poll looks at it."
set_flags clientSteering=disabled
expect "steering stops" told daemon 'Client Steer Stopped'
join "$far" 2400mhz
polls="$(count_told daemon ' link_quality_metric ')"
sleep 3
[[ "$(count_told daemon ' link_quality_metric ')" == "$polls" ]] || give_up "no poll while it is off"
has_joined "$far" 2400mhz || give_up "the far one may stay while steering is off"

step "On again: nothing is remembered, so the far one has to go again, by the same metric."
set_flags clientSteering=enabled
expect "steering starts again" told daemon 'Client Steer Started ' 2
expect_steered "$far" 2
show_steered "$far"
expect "its last metric was forgotten" \
  told daemon "$(steer_pattern "$far").* last_steer_link_quality_metric 0$" 2

step "The middle one walks to -62 dBm, above the floor of 30. The floor rises to 45: it has to go."
walk "$middle" -62
expect_polls "$middle" 3
expect_never_steered "$middle" "the middle one may stay above the floor"
set_flags clientSteering=enabled clientSteeringRootLqmFloor=45
expect_steered "$middle"
show_steered "$middle"

step "The floor rises above the near one, and so does the hysteresis. It may stay; then that falls to 40."
set_flags clientSteeringLqmHysteresis=60 clientSteeringRootLqmFloor=53
# Above the floor before the hysteresis falls.
walk "$last" -40
expect_polls "$near" 3
expect_never_steered "$near" "the near one may stay within the hysteresis"
set_flags clientSteeringLqmHysteresis=40 clientSteeringRootLqmFloor=53
expect_steered "$near"
show_steered "$near"

step "The last one walks below the floor. The steer interval is an hour: it may stay; then 2 s."
expect_never_steered "$last" "the last one is above the floor"
set_flags clientSteeringInterval=3600
expect_polls "$last"
set_flags clientSteeringInterval=3600 clientSteeringLqmHysteresis=5
walk "$last" -70
expect_polls "$last" 2
expect_never_steered "$last" "the last one may stay for the steer interval"

step "The poll interval, 1 s until now, becomes 3 s:"
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
