# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# Clients on both bands, each heard at a level of its own, for many polls: none is missed, and the daemon
# takes little and no more than at the beginning. --rounds says how many polls there are.
# Clients: 30

readonly polls="${rounds:-60}"
readonly pieces=3
((polls >= 3 * pieces)) || fail "that takes $((3 * pieces)) rounds or more"
lower=()
upper=()

divide_clients() {
  local number
  for ((number = 1; number <= client_count; ++number)); do
    set_signal "client$number" "$(signal_of "$number")"
    if ((number % 2)); then lower+=("client$number"); else upper+=("client$number"); fi
  done
}

# In dBm, above the floor.
signal_of() { printf '%d' $((-30 - $1 % 36)); }

count_in_kernel() {
  local band
  for band in 2400mhz 5000mhz; do iw dev "wlan-$band" station dump; done | grep -c "$1"
}

all_have_spoken() { [[ "$(count_in_kernel 'rx bitrate:')" == "$client_count" ]]; }

# All polls together are `client_count` lines each; the first, in which stations are placed, none.
count_polls() { printf '%d' $(("$(count_told daemon ' link_quality_metric ')" / client_count)); }

have_polled() { (("$(count_polls)" >= $1)); }

# In microseconds, from the two counts of a hundredth of a second.
processor_time() {
  local line fields
  line="$(<"/proc/${pids[daemon]}/stat")"
  read -ra fields <<<"${line##*) }"
  printf '%d' $(((fields[11] + fields[12]) * 10000))
}

# In KiB: of its own, not shared with any other process; and all.
memory() {
  awk -v key="$1:" '$1 == key { print $2 }' "/proc/${pids[daemon]}/smaps_rollup"
}

# Whether each poll has each client once: in every `client_count` lines, one after the other.
check_polls() {
  grep -o '[0-9a-f:]* link_quality_metric [0-9]*' "$scratch/daemon.log" |
    awk -v size="$client_count" '
      { if (seen[$1]++) { print "poll " int((NR - 1) / size) + 1 " has " $1 " twice"; exit 1 } }
      NR % size == 0 { delete seen }'
}

# Whether the daemon's last metric of each client is that of its level.
check_metrics() {
  local number metric
  for ((number = 1; number <= client_count; ++number)); do
    metric="$(sed -nE "s/.*$(address_of "client$number") link_quality_metric ([0-9]+) .*/\1/p" \
      "$scratch/daemon.log" | tail -n 1)"
    ((metric >= $(signal_of "$number") + 98 && metric <= $(signal_of "$number") + 102)) ||
      give_up "client$number, at $(signal_of "$number") dBm, has metric $metric"
  done
}

step "$client_count clients join, half of them at each band."
start_services
start_hostapd 2400mhz
start_hostapd 5000mhz
divide_clients
start_clients
start_traffic 10 "${lower[@]}" "${upper[@]}"
join_all 2400mhz "${lower[@]}"
join_all 5000mhz "${upper[@]}"
expect "everybody has said something" all_have_spoken

step "The daemon starts and polls each second, $polls times in all:"
start_daemon --enable_client_steering --client_steering_poll_interval=1
expect "the daemon polls" have_polled 1
used="$(processor_time)"
own=()
for ((piece = 1; piece <= pieces; ++piece)); do
  patience=$((polls * 5)) expect "the daemon goes on" have_polled $((polls * piece / pieces))
  own+=("$(memory Anonymous)")
  printf '     %3d polls: %d us of processor time a poll, %d KiB of its own, %d KiB in all\n' \
    "$(count_polls)" $((($(processor_time) - used) / ($(count_polls) - 1))) "${own[-1]}" "$(memory Rss)"
done

step "None was missed, and the levels are right."
[[ "$(count_in_kernel '^Station')" == "$client_count" ]] || give_up "nobody has left"
check_polls || give_up "each poll has each client once"
check_metrics
! told daemon 'Steer Client' || give_up "nobody is sent off"
((own[-1] <= own[0])) || give_up "the daemon takes no more memory than after a third of the polls"
stop daemon || give_up "the daemon ends with status 0"
