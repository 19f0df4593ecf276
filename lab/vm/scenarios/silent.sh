# shellcheck shell=bash disable=SC2154,SC2034 # lab/vm/begin.sh sets the variables
# An open network has a client that never sends data, so the kernel reports no receive rate of it, and
# some kernels no transmit rate. A daemon built with WAVELARK_SKIP_INCOMPLETE_STATIONS skips it. One built
# without is aborted by it.

client=client1

# Whether the kernel has a receive rate of the client, and whether it lists the client as authorized.
has_receive_rate() { [[ -n "$(station_value 2400mhz "$client" 'rx bitrate')" ]]; }
is_authorized() { [[ "$(station_value 2400mhz "$client" authorized)" == yes ]]; }

step "An open network at 2.4 GHz. A client joins and sends no data:"
network=open
# IPv6 would send data by itself.
printf 1 >"/proc/sys/net/ipv6/conf/$client/disable_ipv6"
start_services
start_hostapd 2400mhz
start_clients
join "$client" 2400mhz
expect "the client is authorized" is_authorized
! has_receive_rate || give_up "the kernel has no receive rate of it"
iw dev wlan-2400mhz station dump | grep -E 'Station|bitrate|authorized:' | show

step "A daemon that skips such a client continues to poll:"
skipped="Skip incomplete station $(address_of "$client")\$"
start skipping "$daemon-skip" --v=1 --enable_client_steering --client_steering_poll_interval=1
expect "the client is skipped at each poll" printed skipping "VERBOSE1 .*$skipped" 3
grep -m 1 -E "$skipped" "$scratch/skipping.log" | show
stop skipping || give_up "the daemon that skips ends with status 0"

step "The default daemon polls it, and a failed check aborts it. The next start ends in the same way:"
start_supervised_daemon --enable_client_steering --client_steering_poll_interval=1
pattern='FATAL .*Check failed: station_information_->ConstGetNestedAttributeList. NL80211_STA_INFO_'
pattern+='(TX_BITRATE, &tx|RX_BITRATE, &rx)_rate_information_.'
expect "the check fails" printed daemon "$pattern" 2
expect "the daemon ends by SIGABRT" printed daemon "^supervisor: it ended with status $((128 + 6))$" 2
grep -m 2 -E "$pattern|^supervisor" "$scratch/daemon.log" | show

step "Client and access point send data, so there are rates. The next daemon continues:"
start_traffic 10 "$client"
answer_traffic 2400mhz "$client"
expect "there are rates" has_rates 2400mhz "$client"
iw dev wlan-2400mhz station dump | grep -E 'Station|bitrate|authorized:' | show
expect_polls "$client" 2
grep -E "$(poll_pattern "$client")" "$scratch/daemon.log" | tail -n 1 | show
stop daemon || give_up "the daemon ends with status 0"
