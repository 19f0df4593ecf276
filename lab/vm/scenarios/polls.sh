# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# Measures for script/bench what a poll costs the daemon, and what a dump of the same stations costs a
# program that does nothing else. Prints a line for each. --rounds is the number of measurements.
# Clients: 1

readonly crowded=2400mhz
readonly monitor=client1
stations=0

have_spoken() { [[ "$(iw dev "wlan-$crowded" station dump | grep -c 'rx bitrate:')" == "$1" ]]; }

# Adds stations to one band until it has COUNT.
fill_band() {
  "$vm_programs/stations" "wlan-$crowded" "$monitor" --first $((stations + 1)) --count $(($1 - stations))
  stations="$1"
  expect "$1 stations have sent data" have_spoken "$1"
}

# The daemon runs without verbose log lines.
measure_polls() {
  start daemon "$daemon" --enable_client_steering --client_steering_poll_interval=1
  expect_attached 2400mhz
  expect_attached 5000mhz
  "$build/bench/polls" --pid "${pids[daemon]}" --interface "wlan-$crowded" --polls "${rounds:-15}" |
    sed "s/^/poll_$stations /"
  stop daemon || give_up "the daemon ends with status 0"
}

start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
start_monitor "$monitor" "$crowded"
for count in 1 50 200; do
  fill_band "$count"
  measure_polls
done
