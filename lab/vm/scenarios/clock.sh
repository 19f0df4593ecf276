# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# The clock is set forth and back while the daemon polls, steers and uploads. Its stations are in a file.

station=02:00:00:00:00:01
poll="$station link_quality_metric 18 last_steer_link_quality_metric"

# Waits for a poll of the station that says so of its last steer, and for a record, both from now on.
expect_goes_on() {
  local polls records
  polls="$(count_told daemon "$poll .* last steer $1")"
  records="$(count_told recorder RecordOfflineData)"
  expect "polls go on" told daemon "$poll .* last steer $1" $((polls + 2))
  expect "records go on" told recorder RecordOfflineData $((records + 2))
  grep -E "$poll" "$scratch/daemon.log" | tail -n 1 | show
}

expect_time_of_events() { expect "events have the time that it is" newest_event_is_of_now; }

# As far as the hour goes.
newest_event_is_of_now() {
  [[ "$(grep -E '^  [0-9:.]{12} ' "$scratch/recorder.log" | tail -n 1)" == "  $(date +%H):"* ]]
}

set_clock() {
  date --set="$1" | show
}

step "The daemon polls a weak station every second, and records an event a second."
printf 'wlan-2400mhz %s -82\nwlan-5000mhz\n' "$station" | write "$scratch/stations"
printf '0 wlan-5000mhz <3>AP-STA-CONNECT 02:ab:cd:12:34:56 success:1\n' | write "$scratch/events"
start_services
start standin "$programs/hostapd_standin" --script "$scratch/events" --rate 1 --repeat 10000
start daemon "$programs/daemon_on_fake_kernel" "$scratch/stations" --v=1 --enable_client_steering \
  --client_steering_poll_interval=1 --connection_event_upload_period=1
expect_goes_on '[0-9.]+s$'
expect_time_of_events
told daemon 'Steer Client' && give_up "it is too early to steer"

step "An hour forth: more than a steer interval has passed, so the station is sent off, once."
set_clock '+1 hour'
expect "the station is sent off" told daemon "Steer Client $station link_quality_metric 18"
expect_goes_on '[0-9.]+s$'
expect_time_of_events

step "Three hours back: it was sent off in time to come. Polls and uploads keep their pace."
set_clock '-3 hours'
expect_goes_on '-2h59m[0-9.]+s$'
expect_time_of_events

step "Forth and back, ten times in a row: nobody ends, nobody is sent off for it."
for ((round = 0; round < 10; ++round)); do
  date --set='+9 minutes' >/dev/null
  date --set='-9 minutes' >/dev/null
done
expect_goes_on '-2h[0-9m.]+s$'
[[ "$(count_told daemon 'Steer Client')" == 1 ]] || give_up "it was sent off once"
[[ "$(count_told daemon 'WARNING|ERROR|FATAL')" == 0 ]] || give_up "the daemon has nothing to complain of"
stop daemon || give_up "the daemon ends with status 0"
date --set='+2 hours' >/dev/null
