# shellcheck shell=bash disable=SC2154 # the script that sources this sets `scratch`
# Functions for demonstrations and for scenarios in the virtual machine: they start programs by name, wait
# for their output, and print each step. Sourced after script/lib.sh, with `scratch` set to a folder for the
# logs.

declare -A pids=()
step_number=0
# The seconds that `expect` waits, far more than any step needs on a slow machine, and its pause between two
# attempts.
patience=60
pause=0.05
# No data ever arrives here. Reading from it with a time limit sleeps without another process.
exec {nothing}<> <(:)

# Starts a program under a name. Its output goes to a new file NAME.log. The program ends with this shell,
# however that ends.
start() {
  local name="$1"
  shift
  # Before the start: the process may begin late, and nothing may find the output of an earlier one.
  : >"$scratch/$name.log"
  setpriv --pdeathsig KILL "$@" >"$scratch/$name.log" 2>&1 &
  pids[$name]=$!
}

is_running() { kill -0 "${pids[$1]}" 2>/dev/null; }

has_ended() { ! is_running "$1"; }

# Ends a program. Returns its status, or 137 if it had to be killed.
stop() {
  # A stopped process handles SIGTERM after SIGCONT.
  kill -TERM "${pids[$1]}" 2>/dev/null || true
  kill -CONT "${pids[$1]}" 2>/dev/null || true
  wait_until "$patience" has_ended "$1" || kill -KILL "${pids[$1]}" 2>/dev/null || true
  forget "$1"
}

# Like `stop`, but the program cannot clean up.
kill_now() {
  kill -KILL "${pids[$1]}"
  forget "$1" || true
}

# Waits for the end of a program, and returns its status.
forget() {
  local status=0
  wait "${pids[$1]}" 2>/dev/null || status=$?
  unset "pids[$1]"
  return "$status"
}

# Ends the programs that still run, the bus last.
stop_all() {
  trap '' INT TERM HUP
  local name
  for name in "${!pids[@]}"; do
    [[ "$name" == bus ]] || stop "$name" || true
  done
  [[ ! -v 'pids[bus]' ]] || stop bus || true
}

# wait_until SECONDS COMMAND...: whether the command succeeds within this time.
wait_until() {
  local deadline=$((${EPOCHREALTIME/[.,]/} + $1 * 1000000))
  shift
  until "$@"; do
    ((${EPOCHREALTIME/[.,]/} < deadline)) || return 1
    read -rt "$pause" -u "$nothing" || true
  done
}

# expect WHAT COMMAND...: waits until the command succeeds. Gives up if it does not, or if a program has
# ended.
expect() {
  local what="$1" has_succeeded=no
  shift
  wait_until "$patience" is_settled "$@" || give_up "$what"
  # The program may have caused it just before its end. A success that was seen counts even if it has
  # passed.
  [[ "$has_succeeded" == yes ]] || "$@" || give_up "$what"
}

# Whether waiting is over: the command has succeeded, which sets `has_succeeded` of `expect`, or a program has
# ended.
is_settled() {
  if "$@"; then
    has_succeeded=yes
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
    [[ -e "$log" ]] || continue
    printf -- '--- the last of %s\n' "$(basename "$log")"
    tail -n "${log_tail:-5}" "$log"
  done >&2
  fail "this did not happen: $*"
}

# printed PROGRAM PATTERN [COUNT]: whether the program's output has COUNT matching lines, 1 by default.
printed() {
  (("$(count_printed "$1" "$2")" >= ${3:-1}))
}

# How many lines of a program's output match a pattern.
count_printed() {
  grep -cE -- "$2" "$scratch/$1.log" || true
}

step() {
  printf '\n%d. %s\n' "$((++step_number))" "$*"
}

# Prints lines without the header of log lines, cut to the width of a page.
show() {
  sed -E 's/^.*\.cc:[0-9]+\] *//; s/^/     /; s/^(.{105}).{4,}$/\1.../'
}

# Replaces a file by a rename, so that no reader sees half of it.
write() {
  cat >"$1.new"
  mv "$1.new" "$1"
}

# Starts a private system bus that allows everything. Programs that start later use it.
start_bus() {
  # A killed bus leaves its socket behind.
  rm -f "$scratch/bus"
  start bus dbus-daemon --nofork --nopidfile --nosyslog --print-address \
    --config-file=testbed/private_bus.conf --address="unix:path=$scratch/bus"
  # The socket's file exists before the bus accepts connections.
  expect "the bus starts" printed bus '^unix:path='
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$scratch/bus"
}

# --- The daemon's services ---

# Whether a name on the bus has an owner.
is_on_bus() {
  dbus-send --system --print-reply=literal --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.GetNameOwner "string:$1" >/dev/null 2>&1
}

# Sets the flags: KEY=VALUE for each argument. If the flags service runs, waits until it has published
# them, so they must differ from those before.
set_flags() {
  local published
  mkdir -p "$scratch/flags.d"
  [[ ! -v 'pids[flags]' ]] || published="$(count_printed flags "$publication")"
  printf '%s\n' "$@" | write "$scratch/flags.d/lab.conf"
  [[ ! -v 'pids[flags]' ]] ||
    expect "the flags service publishes $*" printed flags "$publication" $((published + 1))
}

readonly publication='Publishing [0-9]+ flags$'

start_flags() {
  mkdir -p "$scratch/flags.d"
  start flags "$build/flags/ap-wavelark-flags" --v=1 --directory="$scratch/flags.d"
  expect "the flags service is on the bus" is_on_bus org.velmora.ap.Flags
}

# Starts the recorder. It keeps the records that it had before.
start_recorder() {
  start recorder "$build/recorder/ap-wavelark-recorder" --v=1 --database="${database:-$scratch/records.db}" \
    --metrics-file="$scratch/metrics.prom"
  expect "the recorder is on the bus" is_on_bus org.velmora.ap.Quillary
}

# Runs a query on the recorder's database.
query() { sqlite3 -readonly -batch "${database:-$scratch/records.db}" "$@"; }

# How many rows a table has; a WHERE may follow its name.
count_rows() { query "SELECT count(*) FROM $1"; }

has_rows() { (("$(count_rows "$1")" >= ${2:-1})); }

# expect_rows TABLE [COUNT]: waits until the database has COUNT such rows, 1 by default.
expect_rows() { expect "the recorder stores $1" has_rows "$@"; }

# Prints the result of a query as a table with the names of the columns.
show_query() { sqlite3 -readonly -batch -header -column "${database:-$scratch/records.db}" "$1" | show; }

# Writes the database to database.sql as text, with bytes in hexadecimal. In the binary file, any six
# bytes may look like an address.
dump_database() {
  query .dump >"$scratch/database.sql" || give_up "the database can be read"
  grep -q 'INSERT INTO client_events' "$scratch/database.sql" || give_up "the database has events"
}

make_salt() {
  mkdir -p /var/lib/ap/monitor
  head -c 32 /dev/urandom >/var/lib/ap/monitor/station_id_salt
}

# How many of the addresses on standard input are in one of the files: as text in any common form, or as
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
