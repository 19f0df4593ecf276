# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# A trace of what the daemon polls, and its replay. Sourced by lab/vm/inside after access_point.sh.

readonly trace="$scratch/trace.csv"
# The settings of a daemon with a trace: the poll interval in seconds, and the others.
readonly traced_poll_interval=2
traced_settings=()

# Starts a trace of the signals, then the daemon, which steers with these settings: NAME=VALUE each.
# check_replay compares their decisions at the end.
start_traced_daemon() {
  traced_settings=("client_steering_poll_interval=$traced_poll_interval" "$@")
  start trace "$wavelarkctl" trace --every 0.5 -o "$trace"
  expect "the trace begins" has_trace_begun
  start_daemon --enable_client_steering "${traced_settings[@]/#/--}"
}

has_trace_begun() { [[ -f "$trace" && -n "$(trace_start)" ]]; }

# The time of the first row, in seconds. A replay polls every poll interval from then on.
trace_start() { sed -n '2s/,.*//p' "$trace"; }

# Waits until the time of the next poll of a replay.
await_replay_poll() {
  local period=$((traced_poll_interval * 1000000)) start wait
  start="$(trace_start | awk '{ printf "%.0f", $1 * 1000000 }')"
  wait=$((period - (${EPOCHREALTIME/[.,]/} - start) % period))
  read -rt "$(printf '%d.%06d' $((wait / 1000000)) $((wait % 1000000)))" -u "$nothing" || true
}

# Continues the trace for one poll interval. A daemon that is released now polls at once, so its next poll
# and the one of the replay see the same signals. The polls after them keep this distance.
release_trace() {
  await_replay_poll
  kill -CONT "${pids[trace]}"
  await_replay_poll
}

# Ends the trace. Gives up unless its replay steers the same clients as the daemon did, at the same polls
# and with the same metrics.
check_replay() {
  stop trace || give_up "the trace ends with status 0"
  # The daemon is held while a steered client leaves, and sees nothing of it. A replay cannot be held.
  # Without the rows that are not authorized, it sees the client where it was until the trace continues.
  grep -v ',0$' "$trace" >"$scratch/authorized.csv"
  "$wavelarkctl" replay --json --returns trace --stale 3600 "${traced_settings[@]/#/--set=}" \
    "$scratch/authorized.csv" >"$scratch/replayed.json" || give_up "the trace can be replayed"
  # Status 1: something needs attention, for example a client that is steered repeatedly.
  "$wavelarkctl" explain --json "$scratch/daemon.log" >"$scratch/explained.json" 2>"$scratch/explain.log" ||
    (($? == 1)) || give_up "the daemon's log can be explained"
  list_steers "$scratch/explained.json" >"$scratch/steers"
  list_steers "$scratch/replayed.json" >"$scratch/replayed_steers"
  [[ "$(wc -l <"$scratch/steers")" == "$(count_printed daemon 'Steer Client')" ]] ||
    give_up "each steer of the daemon is explained"
  diff "$scratch/steers" "$scratch/replayed_steers" || give_up "the replay steers as the daemon does"
  show <"$scratch/steers"
}

# Prints a line for each steer in a file of decisions. The polls of a replay have numbers. A poll of the
# daemon has the number of the last poll of the replay before it.
list_steers() {
  jq -r --argjson start "$(trace_start)" --argjson interval "$traced_poll_interval" '
    select(.steered) |
    "poll \((.time - $start + 0.001) / $interval | floor): \(.interface) \(.address) " +
    "metric \(.metric), last steered at \(.last_metric)"' "$1"
}
