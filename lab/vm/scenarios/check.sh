# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# What wavelarkctl check finds: on a bare Debian, on an access point as the packages install it, and with
# six faults at once.
# Clients: 1
# Bridge: yes

source lab/vm/systemd.sh

readonly clock='^warning  clock .*is not synchronized.* -> start a time service, such as systemd-timesyncd$'

# Runs the check, prepared by a command if there is one, and prints what it finds. Each finding is then a
# line in $scratch/findings, with its advice.
check() {
  local status=0
  "$@" "$PWD/$wavelarkctl" check >"$scratch/check" 2>&1 || status=$?
  sed 's/^/     /' "$scratch/check"
  # A warning or a failure.
  ((status == 1)) || give_up "the check ends with status 1, and not $status"
  sed -E ':join; $!N; s/\n +->/ ->/; t join; P; D' "$scratch/check" >"$scratch/findings"
}

count_findings() { grep -cE "$1" "$scratch/findings" || true; }

# Gives up unless exactly these findings are not ok: expressions.
expect_findings() {
  local finding
  for finding in "$@"; do
    [[ "$(count_findings "$finding")" == 1 ]] || give_up "the check finds once: $finding"
  done
  [[ "$(count_findings '^(warning|failure)')" == "$#" ]] || give_up "the check finds nothing else"
}

# Names the radio's interfaces as a bare Debian does, or as the daemon wants them.
rename_interfaces() {
  busybox ip link set "$1" name "$2"
  busybox ip link set "$3" name "$4"
}

step "A bare Debian: nothing is installed, nothing runs, the interfaces have other names."
rename_interfaces wlan-2400mhz wlan0 wlan-5000mhz wlan1
check env
expect_findings '^failure  program .* is missing -> apt install ap-wavelark$' \
  '^failure  user +there is no user ap-wavelark -> systemd-sysusers' \
  '^failure  interface +there is no interface wlan-2400mhz -> .*ip link property add ' \
  '^failure  interface +there is no interface wlan-5000mhz -> .*ip link property add ' \
  '^failure  hostapd +/run/hostapd is missing -> ' \
  '^failure  bus +the system bus: No such file or directory .* -> systemctl restart dbus' \
  '^warning  flags .* without the bus -> ' \
  '^warning  recorder .* without the bus -> ' \
  '^failure  salt +.*station_id_salt is missing: .* -> head -c 32 /dev/urandom ' \
  '^warning  unit .*systemd .* -> run the check ' "$clock"
rename_interfaces wlan0 wlan-2400mhz wlan1 wlan-5000mhz

step "An access point as the packages install it. Only the clock is not synchronized."
install_packages
install_salt
printf 'clientSteering=enabled\n' >/etc/ap-wavelark/flags.d/50-steering.conf
# The bridge logs who attaches.
printf 'BRIDGE_OPTS="--v=1"\n' >/etc/default/ap-wavelark-bridge
start_systemd
start_unit ap-wavelark-bridge
follow_unit bridge ap-wavelark-bridge
start_hostapd 2400mhz
start_hostapd 5000mhz
start_unit "$unit"
expect_attached 2400mhz
expect_attached 5000mhz
expect "the flags service is started" is_active ap-wavelark-flags
check beside_systemd
expect_findings "$clock"

step "Another user may read less, and the check reports that."
check beside_systemd setpriv --reuid nobody --regid nogroup --clear-groups
[[ "$(count_findings '^failure')" == 0 ]] || give_up "nothing is wrong"
(("$(count_findings '^warning .* -> run the check as root$')" >= 1)) ||
  give_up "the check reports what it may not read"

step "Six faults: no hostapd at 5 GHz, permissions of directory and salt, a bad flag, no bus policy, a drop-in."
stop hostapd-5000mhz || give_up "hostapd ends with status 0"
expect "the bridge removes its socket" test ! -e "$control_directory/wlan-5000mhz"
chmod 2710 "$control_directory"
chmod 0644 /var/lib/ap/monitor/station_id_salt
printf 'clientSteeringInterval=soon\n' >/etc/ap-wavelark/flags.d/60-bad.conf
rm /usr/share/dbus-1/system.d/org.velmora.ap.Wavelark.conf
install -D -m 0644 /dev/stdin "/etc/systemd/system/$unit.d/private.conf" <<<$'[Service]\nPrivateNetwork=yes'
beside_systemd systemctl daemon-reload
check beside_systemd
expect_findings \
  "^failure  hostapd +ap-wavelark can't read $control_directory -> chgrp ap-wavelark $control_directory " \
  "^failure  hostapd +$control_directory/wlan-5000mhz is missing -> start hostapd for this interface\$" \
  '^failure  salt +.*station_id_salt has mode 0644: .* -> chgrp ap-wavelark .* chmod 0640 ' \
  '^failure  flags +.*/60-bad.conf:1: .* -> correct it' \
  '^failure  bus +no .*policy .*ap-wavelark.* own org.velmora.ap.Wavelark -> install the package again' \
  '^failure  sandbox +the unit has PrivateNetwork=yes: .* -> systemctl cat ' "$clock"

step "The advice is applied. The access point is as before."
start_hostapd 5000mhz
chgrp ap-wavelark "$control_directory" && chmod 2750 "$control_directory"
chgrp ap-wavelark /var/lib/ap/monitor/station_id_salt && chmod 0640 /var/lib/ap/monitor/station_id_salt
rm /etc/ap-wavelark/flags.d/60-bad.conf "/etc/systemd/system/$unit.d/private.conf"
install -m 0644 -t /usr/share/dbus-1/system.d packaging/org.velmora.ap.Wavelark.conf
beside_systemd systemctl daemon-reload
beside_systemd systemctl restart "$unit" || give_up "the daemon starts again"
expect_attached 5000mhz
check beside_systemd
expect_findings "$clock"
kill_now systemd
