# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# hostapd is stopped, killed and started again behind the bridge. Each time the daemon is attached again
# within 1.5 s. --rounds is the number of restarts.
# Clients: 1
# Bridge: yes

readonly restarts="${rounds:-20}"
readonly limit=1500

# Converts the time of a log line to microseconds.
time_of() { date --date="$1" +%s%6N; }

# The time of the last line of a program that matches.
last_time() { grep -E "$2" "$scratch/$1.log" | tail -n 1 | cut -d ' ' -f 1-2; }

step "hostapd, the bridge and the daemon start, a client joins."
start_services
start_hostapd 2400mhz
start_daemon
start_clients
join client1 2400mhz
expect_event 2400mhz kStationConnect

step "hostapd is restarted $restarts times. Time from its new socket until the daemon is attached:"
slowest=0
for ((i = 1; i <= restarts; ++i)); do
  if ((i % 2)); then
    stop hostapd-2400mhz || give_up "hostapd ends with status 0"
  else
    kill_now hostapd-2400mhz
  fi
  start_hostapd 2400mhz
  expect_attached 2400mhz
  enabled="$(stat --format='%.6Y' "$hostapd_directory/wlan-2400mhz")"
  attached="$(last_time bridge 'wlan-2400mhz attaches .*-wavelark-wlan-2400mhz$')"
  took=$((($(time_of "$attached") - ${enabled/[.,]/}) / 1000))
  ((took <= slowest)) || slowest=$took
  ((took <= limit)) || give_up "the daemon is attached within $limit ms, not $took"
done
printf '     at most %d ms\n' "$slowest"

step "A client joins as before."
connects="$(count_lines 2400mhz CONNECT client1 'success:1')"
join client1 2400mhz
expect_line 2400mhz CONNECT client1 'success:1' $((connects + 1))
! printed daemon 'Received unknown event' || give_up "the daemon knows every event"
stop daemon || give_up "the daemon ends with status 0"
stop bridge || give_up "the bridge ends with status 0"
