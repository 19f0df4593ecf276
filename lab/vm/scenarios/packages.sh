# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# The packages in build/package on a stock access point, configured by the four commands of the README: a
# client joins, leaves, uses a wrong passphrase, is steered and moves to the other band. The database, the
# metrics and wavelarkctl show it.
# Clients: 1
# Bridge: yes

source lab/vm/systemd.sh
source lab/vm/visits.sh

client=client1
database=/var/lib/ap-wavelark/records.db
readonly metrics=/run/ap-wavelark-recorder/metrics.prom
readonly -A interfaces=([2400mhz]=wlan0 [5000mhz]=wlan1)

mapfile -t packages < <(find "$PWD/build/package" -maxdepth 1 -name "*_$(dpkg --print-architecture).deb" | sort)
((${#packages[@]} > 0)) || give_up "script/package has built the packages"

# A hostapd without control sockets, as an administrator may have it. Its unit waits for udev, which does
# not run here.
make_stock_access_point() {
  local band
  for band in "${!interfaces[@]}"; do
    busybox ip link set "wlan-$band" name "${interfaces[$band]}"
    { printf 'interface=%s\n' "${interfaces[$band]}" && network_settings "$band"; } |
      write "/etc/hostapd/${interfaces[$band]}.conf"
  done
  sed '/\.device$/d' /usr/lib/systemd/system/hostapd@.service | write /etc/systemd/system/hostapd@.service
}

# Intervals that suit a test.
shorten_intervals() {
  printf 'DAEMON_OPTS="%s"\n' "--v=1 --connection_event_upload_period=2 --client_steering_interval=2 \
--client_steering_poll_interval=1" >/etc/default/ap-wavelark
  beside_systemd systemctl restart "$unit" || give_up "the daemon starts again"
}

is_attached() { printed daemon "wlan-$1 event: kHostapdStarted"; }

no_unit_failed() { [[ -z "$(beside_systemd systemctl --failed --plain --no-legend)" ]]; }

step "A stock access point: hostapd@wlan0 and hostapd@wlan1 run, without control sockets."
make_stock_access_point
start_systemd
start_unit hostapd@wlan0
start_unit hostapd@wlan1

step "The packages are installed."
# Images for containers forbid the start of services.
rm -f /usr/sbin/policy-rc.d
beside_systemd dpkg --install "${packages[@]}" >"$scratch/dpkg.log" 2>&1 ||
  { show <"$scratch/dpkg.log" && give_up "dpkg installs the packages"; }
for name in ap-wavelark ap-wavelark-{bridge,flags,recorder}; do
  expect "$name is started" is_active "$name"
done

step "The four commands of the README:"
documented_configuration >"$scratch/commands"
show <"$scratch/commands"
beside_systemd bash -e <"$scratch/commands" >"$scratch/commands.log" || give_up "the commands succeed"
shorten_intervals
follow_unit daemon "$unit"
expect "the daemon is attached at 2.4 GHz" is_attached 2400mhz
expect "the daemon is attached at 5 GHz" is_attached 5000mhz
beside_systemd wavelarkctl check >"$scratch/check" || true
show <"$scratch/check"
! grep '^failure' "$scratch/check" || give_up "wavelarkctl check finds nothing wrong"

step "A client joins and leaves, and uses a wrong passphrase."
start_clients
join_and_leave "$client"
try_wrong_passphrase "$client"

step "It joins, moves away, and is steered. It joins at 5 GHz."
join_to_be_steered "$client"
set_signal "$client" -82
expect_steered "$client"
join_after_steering "$client"
leave "$client"
expect_rows "$(event DISCONNECT "$upper AND event_reason = 'DISCONNECT_DEAUTH_CLI'")"
show_visits

step "wavelarkctl explains the steer:"
# Status 1: something needs attention.
beside_systemd wavelarkctl explain --client "$(address_of "$client")" >"$scratch/explanation" || (($? == 1)) ||
  give_up "wavelarkctl explains the journal"
show <"$scratch/explanation"
grep -q STEERED "$scratch/explanation" || give_up "wavelarkctl finds the steer"

step "The daemon ends. The metrics are sums over the rows:"
beside_systemd systemctl stop "$unit" || give_up "the daemon ends"
expect "the metrics agree with the database" metrics_agree "$metrics"
samples_of_file "$metrics" | show
check_metrics "$metrics"
check_metrics /run/ap-wavelark-bridge/metrics.prom
no_unit_failed || give_up "no unit has failed"
kill_now systemd
