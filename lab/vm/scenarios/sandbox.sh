# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh says where things are
# The programs as the packages install them: started by systemd, each as its own user, in its unit's
# sandbox. They do there all that they have to.
# Clients: 2
# Bridge: yes

unit=ap-wavelark.service
client=client1
silent=client2
# A client that sends nothing is possible on an open network only.
network=open
hostapd_directory=/run/hostapd
control_directory=/run/ap-wavelark/hostapd
database=/var/lib/ap-wavelark/records.db

# What a package puts where, and its maintainer scripts do.
install_package() {
  local files="packaging/debian/$1"
  install -m 0755 "$2" "/usr/sbin/$1"
  install -D -m 0644 "$files.service" "/etc/systemd/system/$1.service"
  install -D -m 0644 "$files.default" "/etc/default/$1"
  systemd-sysusers "$PWD/$files.sysusers"
  [[ ! -f "$files.tmpfiles" ]] || systemd-tmpfiles --create "$PWD/$files.tmpfiles"
}

install_packages() {
  local name drop_in="/etc/systemd/system/$unit.d"
  install_package ap-wavelark "$daemon"
  for name in bridge recorder flags; do
    install_package "ap-wavelark-$name" "$build/$name/ap-wavelark-$name"
  done
  install -D -m 0644 packaging/bridge.conf "$drop_in/bridge.conf"
  install -D -m 0644 -t /usr/share/dbus-1/system.d packaging/org.*.conf
  install -D -m 0644 -t /usr/share/dbus-1/system-services packaging/org.*.service
  mkdir -p /etc/ap-wavelark/flags.d
  [[ -f "$hostapd_directory/.kept-by-ap-wavelark" ]] || give_up "the control directory is there"
}

# What is the access point's own to provide.
configure() {
  make_salt
  chgrp -R ap-wavelark /var/lib/ap/monitor
  chmod 0640 /var/lib/ap/monitor/station_id_salt
  printf 'DAEMON_OPTS="%s"\n' "--v=1 --enable_client_steering --client_steering_interval=3 \
--client_steering_poll_interval=2 --connection_event_upload_period=2" >/etc/default/ap-wavelark
  printf 'BRIDGE_OPTS="--v=1"\n' >/etc/default/ap-wavelark-bridge
  printf 'connectionEvents = enabled\n' >/etc/ap-wavelark/flags.d/lab.conf
}

# Starts systemd as the first process of a namespace of its own, with nothing to do but the bus. Of a
# unit that doesn't say otherwise it keeps down what it has started twice.
start_systemd() {
  mkdir -p /etc/systemd/system.conf.d
  printf '[Manager]\nDefaultStartLimitIntervalSec=1h\nDefaultStartLimitBurst=2\n' \
    >/etc/systemd/system.conf.d/strict.conf
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

# What the unit's processes have written, a line each.
journal() {
  beside_systemd journalctl --no-pager --output=cat --identifier=ap-wavelark --lines=all "$@"
}

# A property of a unit, the daemon's by default.
unit_value() { beside_systemd systemctl show --property "$1" --value "${2:-$unit}"; }

unit_is() { [[ "$(unit_value "$1")" == "$2" ]]; }

has_restarted_more_than() { (("$(unit_value NRestarts)" > $1)); }

is_active() { [[ "$(unit_value ActiveState "$1.service")" == active ]]; }

# What the unit of a program has written, from now on, under a name.
follow_unit() {
  start "$1" nsenter --target "$systemd_pid" --pid --mount --root --wd \
    journalctl --follow --lines=all --output=cat --unit="$2"
}

start_unit() {
  beside_systemd systemctl start "$1" ||
    { beside_systemd journalctl --no-pager --output=cat --lines=30 && give_up "$1 starts"; }
}

# What the kernel says of a program's process: its user, that it may nothing, and its system calls.
expect_sandbox() {
  local process
  process="$(unit_value MainPID "$1.service")"
  beside_systemd sed -nE 's/^(Uid|CapEff|CapBnd|NoNewPrivs|Seccomp):[[:space:]]*([^[:space:]]+).*/\2/p' \
    "/proc/$process/status" | paste -sd ' ' >"$scratch/status"
  printf '%s: %s\n' "$1" "$(<"$scratch/status")" | show
  [[ "$(<"$scratch/status")" == "$(id -u "$1") 0000000000000000 0000000000000000 1 2" ]] ||
    give_up "$1 runs as its own user in its sandbox"
}

refuses_flag() {
  beside_systemd journalctl --no-pager --output=cat --unit=ap-wavelark-flags |
    grep -q 'Bad flags: .*bad.conf:1'
}

readonly failed_check='FATAL .*Check failed: station_information_->ConstGetNestedAttributeList'

step "The packages' files are put where they belong. systemd starts the bus."
install_packages
configure
start_systemd

step "systemd starts the bridge. hostapd runs on both bands, a client joins."
start_unit ap-wavelark-bridge
follow_unit bridge ap-wavelark-bridge
start_hostapd 2400mhz
start_hostapd 5000mhz
printf 1 >"/proc/sys/net/ipv6/conf/$silent/disable_ipv6"
start_clients
join "$client" 2400mhz
stay_away "$client"
start_traffic 40 "$client"

step "systemd starts the daemon, and knows when it is ready. The bus starts the services that it calls:"
start_unit "$unit"
follow_unit daemon "$unit"
unit_is ActiveState active || give_up "the unit is active"
first_pid="$(unit_value MainPID)"
expect_attached 2400mhz
expect_attached 5000mhz
expect "the flags service is started" is_active ap-wavelark-flags
expect "the recorder is started" is_active ap-wavelark-recorder
# User, capabilities, new privileges, filter of system calls.
for name in ap-wavelark ap-wavelark-{bridge,flags,recorder}; do expect_sandbox "$name"; done

step "It polls the kernel, and has the client sent off once that is too weak."
expect "it polls the client" told daemon "$(address_of "$client") link_quality_metric 50 "
set_signal "$client" -82
expect "the client is sent off" told daemon "Steer Client $(address_of "$client") "
expect "the client is told" told clients "^$client: CTRL-EVENT-DISCONNECTED .*reason=5"
grep 'Steer Client' "$scratch/daemon.log" | head -n 1 | show

step "It uploads what the bridge writes; the salt could be read."
expect_rows "client_events WHERE event_type = 'DISCONNECT' AND steering_reason = 'STEER'"
show_query "SELECT substr(client_shmac, 1, 12) AS client, event_type AS event, signal_dbm AS dBm, steering_reason FROM timeline"
[[ "$(query 'SELECT DISTINCT client_shmac FROM client_events')" =~ ^[0-9A-F]{64}$ ]] ||
  give_up "the client has an identifier"
expect "the metrics follow" grep -qs '^ap_wavelark_client_events_total' /run/ap-wavelark-recorder/metrics.prom

step "A flag that is no number is refused, with file and line. The others stay in force, and so does the daemon:"
printf 'clientSteeringInterval=soon\n' >/etc/ap-wavelark/flags.d/bad.conf
expect "the flags service refuses it" refuses_flag
beside_systemd journalctl --no-pager --output=cat --unit=ap-wavelark-flags | grep 'Bad flags' | show
rm /etc/ap-wavelark/flags.d/bad.conf
[[ "$(unit_value MainPID)" == "$first_pid" ]] || give_up "the daemon is the same process"

step "It ends by a failed check, as it were: systemd starts it again, and as often as it has to."
unit_is StartLimitIntervalUSec 0 || give_up "there is no limit to it"
unit_is StartLimitBurst 2 || give_up "it would be a strict one"
for ending in 1 2 3; do
  ended="${EPOCHREALTIME/[.,]/}"
  beside_systemd systemctl kill --signal=ABRT "$unit"
  expect "it is started again" unit_is NRestarts "$ending"
  expect "it is ready again" unit_is ActiveState active
  printf 'back after %d ms\n' $(((${EPOCHREALTIME/[.,]/} - ended) / 1000)) | show
done
[[ "$(unit_value MainPID)" != "$first_pid" ]] || give_up "it is another process"

step "A silent client makes it end by a check of its own, until that speaks. The journal has each line once:"
join "$silent" 2400mhz
expect "it ends" told daemon "$failed_check"
expect "it is started again" has_restarted_more_than 3
start more_traffic "$vm_programs/traffic" --rate 10 "$silent"
polls="$(count_told daemon "$(poll_pattern "$silent")")"
expect "it polls the client that was silent" told daemon "$(poll_pattern "$silent")" $((polls + 1))
journal --priority=crit | grep -E "$failed_check" | sort | uniq -c >"$scratch/fatal" ||
  give_up "its last words are in the journal"
! grep -v '^ *1 ' "$scratch/fatal" || give_up "they are there once"
head -n 1 "$scratch/fatal" | show
[[ -z "$(journal | grep -E '^[0-9]{4}-' | sort | uniq -d)" ]] || give_up "no line is there twice"

step "All are stopped, and end well."
for name in ap-wavelark ap-wavelark-{bridge,flags,recorder}; do
  beside_systemd systemctl stop "$name" || give_up "$name stops"
  [[ "$(unit_value Result "$name.service")" == success ]] || give_up "$name ends with status 0"
done
kill_now systemd
