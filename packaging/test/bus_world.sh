# shellcheck shell=bash disable=SC2154 # `scratch` is set by the test that sources this
# A system bus with the distribution's rules, users of its own, and no other policy. A test sources this file
# after lib.sh, as root in a mount namespace of its own, with `scratch` set to an empty directory.

source lab/world.sh

# make_bus_world ACCOUNT... -- PROGRAM...: creates the accounts, and copies the programs to $scratch/bin, where
# every user may read them. Empties /run and the directory of policies.
make_bus_world() {
  local id=64800
  cp /etc/passwd /etc/group "$scratch"
  while [[ "$1" != -- ]]; do
    id=$((id + 1))
    sed -i "/^$1:/d" "$scratch/passwd" "$scratch/group"
    printf '%s:x:%d:%d::/:/usr/sbin/nologin\n' "$1" "$id" "$id" >>"$scratch/passwd"
    printf '%s:x:%d:\n' "$1" "$id" >>"$scratch/group"
    shift
  done
  mkdir "$scratch/bin"
  cp "${@:2}" "$scratch/bin"
  chmod 755 "$scratch"
  mount --bind "$scratch/passwd" /etc/passwd
  mount --bind "$scratch/group" /etc/group
  mount -t tmpfs -o mode=0755 tmpfs /run
  mount -t tmpfs -o mode=0755 tmpfs /usr/share/dbus-1/system.d
  mkdir -p /run/dbus
  # The programs must not write to the log of this machine.
  [[ ! -S /dev/log ]] || mount --bind /dev/null /dev/log
}

start_system_bus() {
  start bus dbus-daemon --system --nofork --nopidfile --nosyslog
  wait_until "$patience" test -S /run/dbus/system_bus_socket ||
    { cat "$scratch/bus.log" >&2 && fail "the bus does not start"; }
  export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
}

# start_as ACCOUNT NAME COMMAND...: starts a program under a name, as that user.
start_as() {
  start "$2" setpriv --reuid "$1" --regid "$1" --clear-groups "${@:3}"
}

# send_as ACCOUNT DBUS-SEND-ARGUMENT...
send_as() {
  setpriv --reuid "$1" --regid "$1" --clear-groups dbus-send --system "${@:2}"
}

# call ACCOUNT DESTINATION PATH METHOD ARGUMENT...: the reply is in $scratch/reply.
call() {
  send_as "$1" --print-reply --reply-timeout=5000 --dest="$2" "$3" "$4" "${@:5}" >"$scratch/reply" 2>&1
}

# Takes the arguments of `call`.
expect_allowed() {
  call "$@" || complain "the call fails: $*: $(cat "$scratch/reply")"
}

# Takes the arguments of `call`.
expect_refused() {
  if call "$@"; then
    complain "the call is not refused: $*"
  elif ! grep -q 'org.freedesktop.DBus.Error.AccessDenied' "$scratch/reply"; then
    complain "the call fails, but not by the policy: $*: $(cat "$scratch/reply")"
  fi
}

# expect_name_refused ACCOUNT BUS-NAME: the account may not own the name.
expect_name_refused() {
  expect_refused "$1" "${request_name[@]}" "string:$2" uint32:4
}

readonly request_name=(org.freedesktop.DBus / org.freedesktop.DBus.RequestName)
