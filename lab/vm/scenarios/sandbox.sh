# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# The daemon as the package installs it: started by systemd, as its own user, in the unit's sandbox. It
# does there all that it has to.
# Clients: 1

unit=ap-wavelark.service
client=client1
visitor=02:ab:cd:12:34:56

# What the package puts where, and its maintainer scripts do.
install_package() {
  local files="$PWD/packaging/debian/ap-wavelark"
  install -m 0755 "$daemon" /usr/sbin/ap-wavelark
  install -D -m 0644 "$files.service" "/etc/systemd/system/$unit"
  install -D -m 0644 "$files.tmpfiles" /etc/tmpfiles.d/ap-wavelark.conf
  install -D -m 0644 "$files.default" /etc/default/ap-wavelark
  install -D -m 0644 packaging/org.velmora.ap.Wavelark.conf /usr/share/dbus-1/system.d/
  systemd-sysusers "$files.sysusers"
  systemd-tmpfiles --create /etc/tmpfiles.d/ap-wavelark.conf
  [[ -f "$control_directory/.kept-by-ap-wavelark" ]] || give_up "the control directory is there"
}

# What is the access point's own to provide.
configure() {
  make_salt
  chgrp -R ap-wavelark /var/lib/ap/monitor
  chmod 0640 /var/lib/ap/monitor/station_id_salt
  printf 'DAEMON_OPTS="%s"\n' "--v=1 --enable_client_steering --client_steering_interval=3 \
--client_steering_poll_interval=2 --connection_event_upload_period=2" >/etc/default/ap-wavelark
  # The two services' own policies.
  cat >/usr/share/dbus-1/system.d/lab.conf <<'POLICY'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <policy user="root">
    <allow own="org.velmora.ap.Flags"/>
    <allow own="org.velmora.ap.Quillary"/>
  </policy>
</busconfig>
POLICY
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

unit_value() { beside_systemd systemctl show --property "$1" --value "$unit"; }

unit_is() { [[ "$(unit_value "$1")" == "$2" ]]; }

has_restarted_more_than() { (("$(unit_value NRestarts)" > $1)); }

# What the kernel says of the daemon's process: a line of its status.
status_value() {
  beside_systemd sed -nE "s/^$1:[[:space:]]*([^[:space:]]+).*/\1/p" "/proc/$(unit_value MainPID)/status"
}

expect_status() {
  local value
  value="$(status_value "$1")"
  printf '%s: %s\n' "$1" "$value" | show
  [[ "$value" == "$2" ]] || give_up "$1 is $2"
}

step "The package's files are put where they belong; hostapd runs on both bands, a client joins."
install_package
configure
start_hostapd 2400mhz
start_hostapd 5000mhz
start_clients
join "$client" 2400mhz
stay_away "$client"
start_traffic 40 "$client"

step "systemd starts the bus, the flags service and the recorder take their names on it."
start_systemd
set_flags connectionEvents=enabled
start flags "$programs/flags_service" "$scratch/flags"
start recorder "$programs/metrics_recorder" --keep "$scratch/records"
expect "the flags service starts" told flags '^started as'
expect "the recorder starts" told recorder '^started as'

step "systemd starts the daemon, and knows when it is ready. Its process:"
beside_systemd systemctl start "$unit" ||
  { beside_systemd journalctl --no-pager --output=cat --lines=30 && give_up "the unit starts"; }
start daemon nsenter --target "$systemd_pid" --pid --mount --root --wd \
  journalctl --follow --lines=all --output=cat --unit="$unit"
unit_is ActiveState active || give_up "the unit is active"
expect_status Uid "$(id -u ap-wavelark)"
expect_status CapEff 0000000000000000
expect_status CapBnd 0000000000000000
expect_status NoNewPrivs 1
expect_status Seccomp 2
first_pid="$(unit_value MainPID)"

step "It listens to both hostapds, and has read the flags."
expect_attached 2400mhz
expect_attached 5000mhz
expect "the flags service is asked" told flags '^asked by .*GetAll'

step "It polls the kernel, and has the client sent off once that is too weak."
expect "it polls the client" told daemon "$(address_of "$client") link_quality_metric 50 "
set_signal "$client" -82
expect "the client is sent off" told daemon "Steer Client $(address_of "$client") "
expect "the client is told" told clients "^$client: CTRL-EVENT-DISCONNECTED .*reason=5"
grep 'Steer Client' "$scratch/daemon.log" | head -n 1 | show

step "It uploads what a stand-in at 5 GHz tells; the salt could be read."
stop hostapd-5000mhz || give_up "hostapd ends well"
printf '0.0 wlan-5000mhz <3>AP-STA-CONNECT %s success:1\n' "$visitor" | write "$scratch/visit"
start standin "$programs/hostapd_standin" --interface wlan-5000mhz --script "$scratch/visit"
expect "a record arrives" told recorder 'RecordOfflineData .* WLAN_5000MHZ, 1 client events'
expect "the client has an identifier" told recorder ' CONNECT +[0-9A-F]{12} '
grep ' CONNECT ' "$scratch/recorder.log" | show

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

step "The flags service gives a text where a number belongs, and mends that. The journal has it once:"
set_flags clientSteeringInterval=soon
expect "it ends" told daemon 'Uncaught exception: stoi'
set_flags clientSteeringInterval=3
expect "it is started again" has_restarted_more_than 3
expect "it is ready again" unit_is ActiveState active
journal --priority=crit | grep 'FATAL .*Uncaught exception: stoi' | sort | uniq -c >"$scratch/fatal" ||
  give_up "its last words are in the journal"
! grep -v '^ *1 ' "$scratch/fatal" || give_up "they are there once"
head -n 1 "$scratch/fatal" | show
[[ -z "$(journal | grep -E '^[0-9]{4}-' | sort | uniq -d)" ]] || give_up "no line is there twice"

step "It is stopped, and ends well."
beside_systemd systemctl stop "$unit" || give_up "the unit stops"
unit_is Result success || give_up "it ends with status 0"
kill_now systemd
