# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# The daemon attaches to both hostapds, and again after one was stopped or killed.
# Clients: 2

step "The daemon starts first. The control directory exists, but no hostapd runs."
start_services
make_control_directory
start_daemon
sleep 1
is_running daemon || give_up "the daemon waits for hostapd"

step "hostapd starts on both bands, and logs that the daemon attaches."
start_hostapd 2400mhz
start_hostapd 5000mhz
for band in 2400mhz 5000mhz; do
  expect_attached "$band"
  expect_event "$band" kHostapdStarted
done

step "A client joins each band. The daemon receives both events."
start_clients
join client1 2400mhz
join client2 5000mhz
expect_event 2400mhz kStationConnected
expect_event 5000mhz kStationConnected

step "At 2.4 GHz hostapd is stopped, which removes its socket, and started again."
stop hostapd-2400mhz || give_up "hostapd ends with status 0"
[[ ! -e "$control_directory/wlan-2400mhz" ]] || give_up "hostapd removes its socket"
start_hostapd 2400mhz
expect_attached 2400mhz
expect_event 2400mhz kHostapdStarted 2
join client1 2400mhz
expect_event 2400mhz kStationConnected 2

step "At 5 GHz hostapd is killed, which leaves its socket behind, and started again."
kill_now hostapd-5000mhz
[[ -S "$control_directory/wlan-5000mhz" ]] || give_up "a killed hostapd leaves its socket"
start_hostapd 5000mhz
expect_attached 5000mhz
expect_event 5000mhz kHostapdStarted 2
join client2 5000mhz
expect_event 5000mhz kStationConnected 2

step "The daemon ends, and detaches from both."
stop daemon || give_up "the daemon ends with status 0"
for band in 2400mhz 5000mhz; do
  expect "the daemon detaches from wlan-$band" printed "hostapd-$band" 'CTRL_IFACE monitor detached'
done
