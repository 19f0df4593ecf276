# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# The bridge under load: a recorder that hangs, a daemon that is killed, and a flood of probe requests.
# --rounds multiplies the durations: with 5 the recorder hangs for 25 s, and the flood takes 60 s.
# Clients: 2
# Bridge: yes

client=client1
# A radio that sends frames of stations that are not there.
air=client2

readonly factor="${rounds:-1}"
readonly hang=$((5 * factor)) events=$((400 * factor)) probes=$((6000 * factor))
client_options=(-t)
# The limit of the 99th percentile, in microseconds.
readonly longest_delay=10000

readonly requests="client_events WHERE event_reason = 'NO_ACK'"

# measure_joins COUNT: joins and leaves five times while stations send COUNT requests. Sets `median` to
# the median time of a join in ms, without the scan.
measure_joins() {
  local i
  start_frames --kind authentication --stations 1000 --count "$1" --rate 80
  for ((i = 0; i < 5; ++i)); do
    join "$client" 2400mhz
    leave "$client"
  done
  median="$(awk -v client="$client:" '
    $2 == client && /Trying to authenticate/ { began = $1 }
    $2 == client && /CTRL-EVENT-CONNECTED/ { printf "%d\n", ($1 - began) * 1000 }' \
    "$scratch/clients.log" | tail -n 5 | sort -n | sed -n 3p)"
  await_frames
}

# Sends frames in the background.
start_frames() {
  start frames "$vm_programs/frames" "$air" --to wlan-2400mhz "$@"
}

# Waits until all frames are sent.
await_frames() {
  wait_until "$patience" has_ended frames || give_up "all frames are sent"
  forget frames || give_up "all frames can be sent"
}

# A value of the bridge's metrics.
counter() {
  kill -USR1 "${pids[bridge]}"
  awk -v name="ap_wavelark_bridge_$1" 'index($1, name) == 1 { print $2; exit }' "$scratch/bridge.prom"
}

kind_counter() { counter "$1{interface=\"wlan-2400mhz\",kind=\"$2\"}"; }

# In KiB, anonymous memory.
bridge_memory() { awk '$1 == "Anonymous:" { print $2 }' "/proc/${pids[bridge]}/smaps_rollup"; }

step "All programs start. Median of five joins while stations send $events requests:"
start_services
start_hostapd 2400mhz
start_supervised_daemon --connection_event_upload_period=1
expect_attached 2400mhz
start_monitor "$air" 2400mhz
start_clients 1
measure_joins "$events"
usual="$median"
printf '     %d ms\n' "$usual"
expect_rows "$requests" "$events"

step "A command without and with the bridge, and the delay of an event by it: median and 99th percentile in us:"
start delays "$vm_programs/delays" "$hostapd_directory/wlan-2400mhz" "$control_directory/wlan-2400mhz"
expect "delays is attached" printed delays '^attached$'
"$vm_programs/frames" "$air" --to wlan-2400mhz --kind probe --first 20000 --stations 250 --count 250 --rate 100
expect "delays has measured" printed delays '^event '
forget delays || give_up "delays ends with status 0"
grep -v attached "$scratch/delays.log" | show
delay() { awk -v kind="$1" '$1 == kind { print $3 }' "$scratch/delays.log"; }
(("$(delay event)" <= longest_delay && "$(delay bridged_command)" - "$(delay command)" <= longest_delay)) ||
  give_up "the bridge adds at most $longest_delay us"

step "The recorder hangs for $hang s while as many requests are sent. Median of five joins:"
kill -STOP "${pids[recorder]}"
ends=$((${EPOCHREALTIME/[.,]/} + hang * 1000000))
measure_joins "$events"
printf '     %d ms\n' "$median"
((median <= 2 * usual)) || give_up "a join takes at most twice as long"
has_hung() { ((${EPOCHREALTIME/[.,]/} >= ends)); }
wait_until "$patience" has_hung || give_up "$hang s pass"
printf '     lines that wait in the bridge: %s\n' "$(counter 'waiting_lines')"
step "The recorder continues. Each request is in the database once."
kill -CONT "${pids[recorder]}"
expect_rows "$requests" $((2 * events))
# A repeated event would arrive before the next events.
join "$client" 2400mhz
leave "$client"
expect_rows "client_events WHERE event_type = 'DISCONNECT'" 11
(("$(count_rows "$requests")" == 2 * events)) || give_up "each request is in the database once"
[[ "$(kind_counter lines_total auth)" == $((2 * events + 11)) ]] || give_up "the bridge wrote a line for each"
[[ "$(counter dropped_lines_total)" == 0 ]] || give_up "the bridge dropped nothing"

step "The daemon is killed three times while requests arrive, and restarted. Lines that it did not receive:"
readonly killed_frames=300 first=5000
start_frames --kind authentication --first "$first" --stations "$killed_frames" \
  --count "$killed_frames" --rate 50
for ending in 1 2 3; do
  attached="$(count_attached 2400mhz)"
  kill -KILL "$(pgrep --parent "${pids[daemon]}")"
  expect "the next daemon attaches" has_attached 2400mhz $((attached + 1))
done
await_frames
expect "the bridge writes them" printed bridge 'writes: <3>AP-STA-AUTH 02:5b:' $((2 * events + killed_frames))
# The line about this client follows all others.
join "$client" 2400mhz
leave "$client"
expect_event 2400mhz kStationDisconnect 12
grep -oE 'kStationAuth mac: 02:5b:00:00:1[3-9a-f]:..' "$scratch/daemon.log" | sort >"$scratch/taken"
lost=$((killed_frames - "$(sort -u "$scratch/taken" | wc -l)"))
printf '     %d of %d\n' "$lost" "$killed_frames"
((lost <= 3 * (1 + "$(cat /proc/sys/net/unix/max_dgram_qlen)"))) ||
  give_up "only lines in its socket are lost"
[[ -z "$(uniq -d "$scratch/taken")" ]] || give_up "no line is delivered twice"

step "500 probe requests a second, $probes in all. The bridge's anonymous memory, in KiB:"
[[ "$(kind_counter lines_total probe_request)" == "$(kind_counter events_total probe_request)" ]] ||
  give_up "each probe request so far has its line"
before="$(kind_counter events_total probe_request)"
seen="$(count_printed daemon kStationMonitorInfo)"
own=()
for part in 1 2 3; do
  start_frames --kind probe --stations 500 --count $((probes / 3)) --rate 500
  await_frames
  own+=("$(bridge_memory)")
  printf '     %d\n' "${own[-1]}"
done
expect "the daemon receives each" printed daemon kStationMonitorInfo $((seen + probes / 3 * 3))
got=$(("$(kind_counter events_total probe_request)" - before))
printf '     hostapd reported %d\n' "$got"
((got >= probes / 3 * 3)) || give_up "each probe request is reported"
[[ "$(kind_counter lines_total probe_request)" == "$(kind_counter events_total probe_request)" ]] ||
  give_up "each probe request has its line"
[[ "$(counter dropped_lines_total)" == 0 ]] || give_up "the bridge dropped nothing"
((own[2] <= own[0] + 64)) || give_up "the bridge's memory does not grow"
stop daemon || give_up "the daemon ends with status 0"
stop bridge || give_up "the bridge ends with status 0"
