# shellcheck shell=bash disable=SC2154 # `scratch` is set by whoever sources this
# What the steps of a demonstration, or of a scenario in the virtual machine, are made of: programs
# started by name, waiting for what they tell, narration. To be sourced after script/lib.sh, with
# `scratch` set to a folder for what the programs write.

declare -A pids=()
step_number=0
# For how many seconds what has to come is waited for, far longer than it takes on any machine, and how
# long between two looks.
patience=60
pause=0.05
# Nothing ever comes here; reading from it with a limit of time is sleeping without another process.
exec {nothing}<> <(:)

# Starts a program under a name, by which its output is found, too: what it writes from now on. It ends
# with us, however we end.
start() {
  local name="$1"
  shift
  # Now: the new process may be slow to begin, and what an earlier one wrote is not to be found.
  : >"$scratch/$name.log"
  setpriv --pdeathsig KILL "$@" >"$scratch/$name.log" 2>&1 &
  pids[$name]=$!
}

is_running() { kill -0 "${pids[$1]}" 2>/dev/null; }

has_ended() { ! is_running "$1"; }

# Ends a program. The status is that of the program, or 137 if it has to be killed.
stop() {
  # One that is held takes the first signal with the second.
  kill -TERM "${pids[$1]}" 2>/dev/null || true
  kill -CONT "${pids[$1]}" 2>/dev/null || true
  wait_until "$patience" has_ended "$1" || kill -KILL "${pids[$1]}" 2>/dev/null || true
  forget "$1"
}

# As `stop`, but without giving it the time to clean up.
kill_now() {
  kill -KILL "${pids[$1]}"
  forget "$1" || true
}

# Waits for the end of a program, whose status becomes our own.
forget() {
  local status=0
  wait "${pids[$1]}" 2>/dev/null || status=$?
  unset "pids[$1]"
  return "$status"
}

# Ends what is still running, the bus last.
stop_all() {
  trap '' INT TERM HUP
  local name
  for name in "${!pids[@]}"; do
    [[ "$name" == bus ]] || stop "$name" || true
  done
  [[ ! -v 'pids[bus]' ]] || stop bus || true
}

# Whether a command succeeds within so many seconds.
wait_until() {
  local deadline=$((${EPOCHREALTIME/[.,]/} + $1 * 1000000))
  shift
  until "$@"; do
    ((${EPOCHREALTIME/[.,]/} < deadline)) || return 1
    read -rt "$pause" -u "$nothing" || true
  done
}

# Waits for what has to come, and ends everything if it doesn't, or can't any more since a program has
# ended.
expect() {
  local what="$1" has_come=no
  shift
  wait_until "$patience" is_settled "$@" || give_up "$what"
  # A program may have made it come just before it ended; and what has come may be gone again.
  [[ "$has_come" == yes ]] || "$@" || give_up "$what"
}

# Whether there is nothing to wait for any more. Tells `expect` whether that is because it has come.
is_settled() {
  if "$@"; then
    has_come=yes
  else
    ! all_run
  fi
}

all_run() {
  local name
  for name in "${!pids[@]}"; do
    is_running "$name" || return 1
  done
}

give_up() {
  local log
  for log in "$scratch"/*.log; do
    printf -- '--- the last of %s\n' "$(basename "$log")"
    tail -n "${log_tail:-5}" "$log"
  done >&2
  fail "this did not happen: $*"
}

# Whether the output of a program has a line that matches, `count` of them if that is given.
told() {
  (("$(count_told "$1" "$2")" >= ${3:-1}))
}

# How many lines of a program's output match.
count_told() {
  grep -cE -- "$2" "$scratch/$1.log" || true
}

step() {
  printf '\n%d. %s\n' "$((++step_number))" "$*"
}

# Shows lines, without the header of log lines, cut to the width of a page.
show() {
  sed -E 's/^.*\.cc:[0-9]+\] *//; s/^/     /; s/^(.{105}).{4,}$/\1.../'
}

# Replaces a file in one move, so that nobody reads half of it.
write() {
  cat >"$1.new"
  mv "$1.new" "$1"
}

# A system bus of our own, on which everything is allowed. The programs started afterwards find it.
start_bus() {
  # A bus that was killed leaves its socket.
  rm -f "$scratch/bus"
  start bus dbus-daemon --nofork --nopidfile --nosyslog --print-address \
    --config-file=testbed/private_bus.conf --address="unix:path=$scratch/bus"
  # The socket's file is there before the bus takes connections.
  expect "the bus starts" told bus '^unix:path='
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$scratch/bus"
}

# --- The daemon's services ---

# Whether somebody owns a name on the bus.
is_on_bus() {
  dbus-send --system --print-reply=literal --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.GetNameOwner "string:$1" >/dev/null 2>&1
}

# Sets what the flags service publishes: a line `key=value` an argument. Waits until it has done so, if
# it is running; they must be others than before.
set_flags() {
  local published
  mkdir -p "$scratch/flags.d"
  [[ ! -v 'pids[flags]' ]] || published="$(count_told flags "$publication")"
  printf '%s\n' "$@" | write "$scratch/flags.d/lab.conf"
  [[ ! -v 'pids[flags]' ]] ||
    expect "the flags service publishes $*" told flags "$publication" $((published + 1))
}

readonly publication='Publishing [0-9]+ flags$'

start_flags() {
  mkdir -p "$scratch/flags.d"
  start flags "$build/flags/ap-wavelark-flags" --v=1 --directory="$scratch/flags.d"
  expect "the flags service is on the bus" is_on_bus org.velmora.ap.Flags
}

# Starts the recorder, with the records that it had before.
start_recorder() {
  start recorder "$build/recorder/ap-wavelark-recorder" --v=1 --database="${database:-$scratch/records.db}" \
    --metrics-file="$scratch/metrics.prom"
  expect "the recorder is on the bus" is_on_bus org.velmora.ap.Quillary
}

# Asks the recorder's database.
query() { sqlite3 -readonly -batch "${database:-$scratch/records.db}" "$@"; }

# How many rows of a table, or of a table and a WHERE, the database has.
count_rows() { query "SELECT count(*) FROM $1"; }

has_rows() { (("$(count_rows "$1")" >= ${2:-1})); }

# Waits until the database has such a row, or `count` of them.
expect_rows() { expect "the recorder stores $1" has_rows "$@"; }

# Prints the answer to a query as a table, with the names of its columns.
show_query() { sqlite3 -readonly -batch -header -column "${database:-$scratch/records.db}" "$1" | show; }

# Writes all that the database has to database.sql as text, bytes in hexadecimal: any small address is
# somewhere among the bytes of the database itself.
dump_database() {
  query .dump >"$scratch/database.sql" || give_up "the database can be read"
  grep -q 'INSERT INTO client_events' "$scratch/database.sql" || give_up "the database has events"
}

make_salt() {
  mkdir -p /var/lib/ap/monitor
  head -c 32 /dev/urandom >/var/lib/ap/monitor/station_id_salt
}

# How many of the addresses on standard input are in some file: as text in any common form, or as
# six bytes.
count_addresses() {
  local address found=0
  while read -r address; do
    if LC_ALL=C grep -qaiE "${address//:/[:-]?}" "$@" ||
      LC_ALL=C grep -qaP "\\x${address//:/\\x}" "$@"; then
      found=$((found + 1))
    fi
  done
  printf '%d\n' "$found"
}
