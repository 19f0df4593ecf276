# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables; scenarios read the rest
# The programs as the packages install them, started by systemd. For scenarios to source.

readonly unit=ap-wavelark.service
hostapd_directory=/run/hostapd
control_directory=/run/ap-wavelark/hostapd

# Installs the files of a package, and does what its maintainer scripts do.
install_package() {
  local files="packaging/debian/$1"
  install -m 0755 "$2" "/usr/sbin/$1"
  install -D -m 0644 "$files.service" "/usr/lib/systemd/system/$1.service"
  install -D -m 0644 "$files.default" "/etc/default/$1"
  systemd-sysusers "$PWD/$files.sysusers"
  [[ ! -f "$files.tmpfiles" ]] || systemd-tmpfiles --create "$PWD/$files.tmpfiles"
}

install_packages() {
  local name
  install_package ap-wavelark "$daemon"
  for name in bridge recorder flags; do
    install_package "ap-wavelark-$name" "$build/$name/ap-wavelark-$name"
  done
  install -D -m 0644 -t "/usr/lib/systemd/system/$unit.d" packaging/bridge.conf
  install -D -m 0644 -t /usr/share/dbus-1/system.d packaging/org.*.conf
  install -D -m 0644 -t /usr/share/dbus-1/system-services packaging/org.*.service
  mkdir -p /etc/ap-wavelark/flags.d
  [[ -f "$hostapd_directory/.kept-by-ap-wavelark" ]] || give_up "the control directory is there"
}

# Makes the salt with the permissions that the package of the daemon gives it.
install_salt() {
  make_salt
  chgrp -R ap-wavelark /var/lib/ap/monitor
  chmod 0640 /var/lib/ap/monitor/station_id_salt
}

# Starts systemd as the first process of a namespace of its own, with the bus as its only task.
start_systemd() {
  mount -t cgroup2 cgroup2 /sys/fs/cgroup
  start systemd unshare --pid --mount-proc --fork --kill-child \
    env container=lab /lib/systemd/systemd --system --unit=dbus.service --log-target=console
  expect "systemd starts" find_systemd
  expect "the bus is there" test -S /run/dbus/system_bus_socket
  export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
}

find_systemd() {
  systemd_pid="$(pgrep --parent "${pids[systemd]}")" && [[ -S /run/systemd/private ]]
}

# Runs a command where systemd is the first process.
beside_systemd() { nsenter --target "$systemd_pid" --pid --mount --root --wd "$@"; }

# A property of a unit, by default the daemon's.
unit_value() { beside_systemd systemctl show --property "$1" --value "${2:-$unit}"; }

unit_is() { [[ "$(unit_value "$1")" == "$2" ]]; }

is_active() { [[ "$(unit_value ActiveState "$1.service")" == active ]]; }

start_unit() {
  beside_systemd systemctl start "$1" ||
    { beside_systemd journalctl --no-pager --output=cat --lines=30 && give_up "$1 starts"; }
}

# Gives what a unit writes from now on a name, as if `start` had started it.
follow_unit() {
  start "$1" nsenter --target "$systemd_pid" --pid --mount --root --wd \
    journalctl --follow --lines=all --output=cat --unit="$2"
}
