# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# The programs as the packages install them: systemd starts each as its own user in its unit's sandbox.
# All their functions work there.
# Clients: 2
# Bridge: yes

source lab/vm/systemd.sh

client=client1
silent=client2
# Only on an open network a client can join without sending data.
network=open
database=/var/lib/ap-wavelark/records.db

# Does the configuration that is left to the administrator.
configure() {
  install_salt
  printf 'DAEMON_OPTS="%s"\n' "--v=1 --enable_client_steering --client_steering_interval=3 \
--client_steering_poll_interval=2 --connection_event_upload_period=2" >/etc/default/ap-wavelark
  printf 'BRIDGE_OPTS="--v=1"\n' >/etc/default/ap-wavelark-bridge
  printf 'connectionEvents = enabled\n' >/etc/ap-wavelark/flags.d/lab.conf
}

# systemd then keeps a unit stopped after two starts, unless the unit says otherwise.
limit_starts() {
  mkdir -p /etc/systemd/system.conf.d
  printf '[Manager]\nDefaultStartLimitIntervalSec=1h\nDefaultStartLimitBurst=2\n' \
    >/etc/systemd/system.conf.d/strict.conf
}

# The log lines of the unit's processes.
journal() {
  beside_systemd journalctl --no-pager --output=cat --identifier=ap-wavelark --lines=all "$@"
}

has_restarted_more_than() { (("$(unit_value NRestarts)" > $1)); }

# Gives up unless a program's process runs as its own user, without capabilities, without new privileges,
# and with a filter of system calls.
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

step "The packages' files are installed. systemd starts the bus."
install_packages
configure
limit_starts
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
answer_traffic 2400mhz "$client"
expect "the kernel reports its rates" has_rates 2400mhz "$client"

step "systemd starts the daemon and waits until it is ready. The bus starts the services that the daemon calls:"
start_unit "$unit"
follow_unit daemon "$unit"
unit_is ActiveState active || give_up "the unit is active"
first_pid="$(unit_value MainPID)"
expect_attached 2400mhz
expect_attached 5000mhz
expect "the flags service is started" is_active ap-wavelark-flags
expect "the recorder is started" is_active ap-wavelark-recorder
# Prints user, capabilities, new privileges, filter of system calls.
for name in ap-wavelark ap-wavelark-{bridge,flags,recorder}; do expect_sandbox "$name"; done

step "It polls the kernel, and steers the client once its signal is too weak:"
expect "the daemon polls the client" printed daemon "$(address_of "$client") link_quality_metric 50 "
set_signal "$client" -82
expect "the client is steered" printed daemon "Steer Client $(address_of "$client") "
expect "the client is disconnected with reason 5" printed clients "^$client: CTRL-EVENT-DISCONNECTED .*reason=5"
grep 'Steer Client' "$scratch/daemon.log" | head -n 1 | show

step "It uploads the bridge's events, with salted identifiers:"
expect_rows "client_events WHERE event_type = 'DISCONNECT' AND steering_reason = 'STEER'"
show_query "SELECT substr(client_shmac, 1, 12) AS client, event_type AS event, signal_dbm AS dBm, steering_reason FROM timeline"
[[ "$(query 'SELECT DISTINCT client_shmac FROM client_events')" =~ ^[0-9A-F]{64}$ ]] ||
  give_up "the client has an identifier"
expect "the metrics follow" grep -qs '^ap_wavelark_client_events_total' /run/ap-wavelark-recorder/metrics.prom

step "A flag that is not a number is refused, with file and line. The daemon continues:"
printf 'clientSteeringInterval=soon\n' >/etc/ap-wavelark/flags.d/bad.conf
expect "the flags service refuses it" refuses_flag
beside_systemd journalctl --no-pager --output=cat --unit=ap-wavelark-flags | grep 'Bad flags' | show
rm /etc/ap-wavelark/flags.d/bad.conf
[[ "$(unit_value MainPID)" == "$first_pid" ]] || give_up "the daemon is the same process"

step "It is aborted several times, as by a failed check. systemd restarts it each time:"
unit_is StartLimitIntervalUSec 0 || give_up "the unit's starts have no limit"
unit_is StartLimitBurst 2 || give_up "the default limit is strict"
for ending in 1 2 3; do
  ended="${EPOCHREALTIME/[.,]/}"
  beside_systemd systemctl kill --signal=ABRT "$unit"
  expect "it is started again" unit_is NRestarts "$ending"
  expect "it is ready again" unit_is ActiveState active
  printf 'back after %d ms\n' $(((${EPOCHREALTIME/[.,]/} - ended) / 1000)) | show
done
[[ "$(unit_value MainPID)" != "$first_pid" ]] || give_up "it is another process"

step "A silent client aborts it by a failed check, until there is data. The journal has each line once:"
join "$silent" 2400mhz
expect "the check fails" printed daemon "$failed_check"
expect "it is started again" has_restarted_more_than 3
start more_traffic "$vm_programs/traffic" --rate 10 "$silent"
answer_traffic 2400mhz "$silent"
polls="$(count_printed daemon "$(poll_pattern "$silent")")"
expect "it polls the client that was silent" printed daemon "$(poll_pattern "$silent")" $((polls + 1))
journal --priority=crit | grep -E "$failed_check" | sort | uniq -c >"$scratch/fatal" ||
  give_up "the failed checks are in the journal"
! grep -v '^ *1 ' "$scratch/fatal" || give_up "each is in the journal once"
head -n 1 "$scratch/fatal" | show
[[ -z "$(journal | grep -E '^[0-9]{4}-' | sort | uniq -d)" ]] || give_up "no line is there twice"

step "All are stopped, and end with status 0."
for name in ap-wavelark ap-wavelark-{bridge,flags,recorder}; do
  beside_systemd systemctl stop "$name" || give_up "$name stops"
  [[ "$(unit_value Result "$name.service")" == success ]] || give_up "$name ends with status 0"
done
kill_now systemd
