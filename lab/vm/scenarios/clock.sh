# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# The clock is set forward and back while the daemon polls, steers and uploads. A simulated kernel reads
# the daemon's stations from a file.

station=02:00:00:00:00:01

set_signal_dbm() {
  printf 'wlan-2400mhz %s %d\nwlan-5000mhz\n' "$station" "$1" | write "$scratch/stations"
}

# An expression for a time since the last steer below the steer interval of ten minutes.
recently='([0-9]m)?[0-9.]+s'

# poll_line METRIC LAST_METRIC TIME: an expression for a poll's log line. TIME is that since the last
# steer.
poll_line() {
  printf '%s link_quality_metric %d last_steer_link_quality_metric %d time since last steer %s$' \
    "$station" "$1" "$2" "$3"
}

# Waits for three more polls with such a line and three more records. Both are due once a second. A timer
# that followed the clock would be hours late.
expect_goes_on() {
  local line polls records
  line="$(poll_line "$@")"
  polls="$(count_printed daemon "$line")"
  records="$(count_rows records)"
  expect "polls continue" printed daemon "$line" $((polls + 3))
  expect_rows records $((records + 3))
  grep -E "$line" "$scratch/daemon.log" | tail -n 1 | show
  expect_rows "$newest_event_is_of_now"
}

# To the minute.
readonly newest_event_is_of_now="client_events
  WHERE rowid = (SELECT max(rowid) FROM client_events)
    AND abs(event_time_in_milliseconds / 1000 - strftime('%s', 'now')) < 60"

set_clock() {
  date --set="$1" | show
}

# expect_steered METRIC LAST_METRIC
expect_steered() {
  expect "the station is steered" printed daemon \
    "Steer Client $station link_quality_metric $1 last_steer_link_quality_metric $2$"
}

expect_steer_count() {
  (($(count_printed daemon 'Steer Client') == $1)) || give_up "it is steered $1 times in all"
}

step "The daemon polls a weak station every second, and records an event a second."
set_signal_dbm -82
printf '0 wlan-5000mhz <3>AP-STA-CONNECT 02:ab:cd:12:34:56 success:1\n' | write "$scratch/events"
start_services
start standin "$programs/hostapd_standin" --script "$scratch/events" --rate 1 --repeat 10000
start daemon "$programs/daemon_on_fake_kernel" "$scratch/stations" --v=1 --enable_client_steering \
  --client_steering_poll_interval=1 --connection_event_upload_period=1
expect_goes_on 18 0 "$recently"
expect_steer_count 0

step "The clock is set forward by an hour, more than a steer interval. The station is steered once."
set_clock '+1 hour'
expect_steered 18 0
expect_steer_count 1
expect_goes_on 18 18 "$recently"

step "The signal changes, and the clock is set back by three hours. The last steer is in the future: no steer."
set_clock '-3 hours'
set_signal_dbm -98
expect_goes_on 2 18 '-2h5[0-9]m[0-9.]+s'
expect_steer_count 1

step "Forward by four hours: the last steer was long ago, so the station is steered again."
set_clock '+4 hours'
expect_steered 2 18
expect_steer_count 2

step "The signal changes again. Forward and back by five minutes, ten times: below a steer interval."
set_signal_dbm -82
expect_goes_on 18 2 "$recently"
for round in {1..10}; do
  date --set='+5 minutes' >/dev/null
  expect "it is polled with the clock forward" printed daemon "$(poll_line 18 2 '[5-9]m[0-9.]+s')" "$round"
  date --set='-5 minutes' >/dev/null
done
expect_goes_on 18 2 "$recently"
expect_steer_count 2

step "Forward by eleven minutes, more than a steer interval: the station is steered."
set_clock '+11 minutes'
expect_steered 18 2
expect_steer_count 3
(($(count_printed daemon 'WARNING|ERROR|FATAL') == 0)) || give_up "the daemon logs no warning"
stop daemon || give_up "the daemon ends with status 0"
date --set='-131 minutes' >/dev/null
