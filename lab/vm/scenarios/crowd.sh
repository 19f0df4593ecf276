# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# Clients on both bands, each with a signal of its own. Many polls see each of them, and the daemon's use
# of processor and memory does not grow. Then one pass steers all of them. --rounds is the number of
# polls.
# Clients: 30

readonly polls="${rounds:-60}"
readonly pieces=3
((polls >= 3 * pieces)) || fail "--rounds must be at least $((3 * pieces))"
# In dBm: below the floor of -70, and changed by more than the hysteresis of 15.
readonly weak=-80
lower=()
upper=()

divide_clients() {
  local number
  for ((number = 1; number <= client_count; ++number)); do
    if ((number % 2)); then lower+=("client$number"); else upper+=("client$number"); fi
  done
}

# In dBm, above the floor.
signal_of() { printf '%d' $((-30 - $1 % 36)); }

set_strong_signals() {
  local number
  for ((number = 1; number <= client_count; ++number)); do
    set_signal "client$number" "$(signal_of "$number")"
  done
}

set_weak_signals() {
  local client
  for client in "${lower[@]}" "${upper[@]}"; do set_signal "$client" "$weak"; done
}

dump_stations() {
  local band
  for band in 2400mhz 5000mhz; do iw dev "wlan-$band" station dump; done
}

count_in_kernel() { dump_stations | grep -c "$1"; }

all_have_spoken() { [[ "$(count_in_kernel 'rx bitrate:')" == "$client_count" ]]; }

all_are_weak() {
  dump_stations | awk -v weak="$weak" -v count="$client_count" '
    /signal avg:/ && $3 >= weak - 2 && $3 <= weak + 2 { ++found }
    END { exit found != count }'
}

# Each poll logs `client_count` judgements, except the first one: it places the stations.
count_polls() { printf '%d' $(("$(count_printed daemon ' link_quality_metric .* time since')" / client_count)); }

have_polled() { (("$(count_polls)" >= $1)); }

# In microseconds. /proc counts hundredths of a second.
processor_time() {
  local line fields
  line="$(<"/proc/${pids[daemon]}/stat")"
  read -ra fields <<<"${line##*) }"
  printf '%d' $(((fields[11] + fields[12]) * 10000))
}

# A value of the daemon's memory map, in KiB: Anonymous or Rss, for example.
memory() {
  awk -v key="$1:" '$1 == key { print $2 }' "/proc/${pids[daemon]}/smaps_rollup"
}

# Whether each poll judges each client once.
check_polls() {
  grep -o '[0-9a-f:]* link_quality_metric [0-9]*' "$scratch/daemon.log" |
    awk -v size="$client_count" '
      { if (seen[$1]++) { print "poll " int((NR - 1) / size) + 1 " has " $1 " twice"; exit 1 } }
      NR % size == 0 { delete seen }'
}

# Whether the daemon's last metric of each client is that of its signal.
check_metrics() {
  local number metric
  for ((number = 1; number <= client_count; ++number)); do
    metric="$(sed -nE "s/.*$(address_of "client$number") link_quality_metric ([0-9]+) .*/\1/p" \
      "$scratch/daemon.log" | tail -n 1)"
    ((metric >= $(signal_of "$number") + 98 && metric <= $(signal_of "$number") + 102)) ||
      give_up "client$number, at $(signal_of "$number") dBm, has metric $metric"
  done
}

# The addresses of the steered clients, in the order of the daemon's decisions.
steered() { sed -nE 's/.* Steer Client ([0-9a-f:]+) .*/\1/p' "$scratch/daemon.log"; }

# The addresses in the commands that the hostapd of a band received, in their order.
disassociated() {
  sed -nE 's/.*CTRL_IFACE DISASSOCIATE ([0-9a-f:]+).*/\1/p' "$scratch/hostapd-$1.log"
}

# How many passes steered clients.
count_steering_passes() {
  awk -v size="$client_count" '
    / link_quality_metric .* time since / { ++judged }
    / Steer Client / && !seen[int((judged - 1) / size)]++ { ++passes }
    END { print passes + 0 }' "$scratch/daemon.log"
}

# How many clients of a band hostapd disassociated by command and then saw join again.
count_returned() {
  awk '
    match($0, /CTRL_IFACE DISASSOCIATE [0-9a-f:]+/) { state[substr($0, RSTART + 24, 17)] = "commanded" }
    / AP-STA-DISCONNECTED / && state[$3] == "commanded" { state[$3] = "away" }
    / AP-STA-CONNECTED / && state[$3] == "away" { state[$3] = "back"; ++count }
    END { print count + 0 }' "$scratch/hostapd-$1.log"
}

step "$client_count clients join, half of them on each band."
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
divide_clients
set_strong_signals
start_clients
start_traffic 10 "${lower[@]}" "${upper[@]}"
join_all 2400mhz "${lower[@]}"
join_all 5000mhz "${upper[@]}"
expect "every client has sent data" all_have_spoken

step "The daemon starts. It polls once a second, $polls times:"
start_daemon --enable_client_steering --client_steering_poll_interval=1 --client_steering_interval=5
expect "the daemon polls" have_polled 1
used="$(processor_time)"
own=()
for ((piece = 1; piece <= pieces; ++piece)); do
  patience=$((polls * 5)) expect "the daemon continues to poll" have_polled $((polls * piece / pieces))
  own+=("$(memory Anonymous)")
  printf '     %3d polls: %d us of processor time per poll, %d KiB of anonymous memory, %d KiB resident\n' \
    "$(count_polls)" $((($(processor_time) - used) / ($(count_polls) - 1))) "${own[-1]}" "$(memory Rss)"
done

step "Each poll judged each client once, with the right metric."
[[ "$(count_in_kernel '^Station')" == "$client_count" ]] || give_up "no client has left"
check_polls || give_up "each poll judges each client once"
check_metrics
! printed daemon 'Steer Client' || give_up "no client is steered above the floor"
((own[-1] <= own[0])) || give_up "memory does not grow after a third of the polls"

step "All clients fall below the floor between two polls. One pass steers all of them:"
# Otherwise a poll could find some of them still above the floor.
hold_daemon
stay_away "${lower[@]}" "${upper[@]}"
set_weak_signals
expect "the kernel hears all clients at $weak dBm" all_are_weak
release_daemon
for client in "${lower[@]}" "${upper[@]}"; do expect_steered "$client"; done
[[ "$(count_steering_passes)" == 1 ]] || give_up "one pass steers all clients"
[[ "$(steered | sort -u | wc -l)" == "$client_count" ]] || give_up "each client is steered"
printf '     %d clients steered, %d commands at 2.4 GHz, %d at 5 GHz\n' "$(steered | wc -l)" \
  "$(disassociated 2400mhz | wc -l)" "$(disassociated 5000mhz | wc -l)"

step "All clients join again. No client is steered twice."
hold_daemon
set_strong_signals
join_all 2400mhz "${lower[@]}"
join_all 5000mhz "${upper[@]}"
expect "every client has sent data again" all_have_spoken
[[ "$(count_returned 2400mhz)" == "${#lower[@]}" && "$(count_returned 5000mhz)" == "${#upper[@]}" ]] ||
  give_up "hostapd sees each client leave by the command and join again"
release_daemon
expect "the daemon polls all clients again" have_polled $(("$(count_polls)" + 3))
# A pass begins with 2.4 GHz. The order is that of the daemon's decisions.
diff <(steered) <(disassociated 2400mhz && disassociated 5000mhz) ||
  give_up "hostapd receives one command for each client, in order"
stop daemon || give_up "the daemon ends with status 0"
