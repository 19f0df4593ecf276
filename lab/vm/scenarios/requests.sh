# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# Each request of the request manager on a real kernel: stations of an access point, paths of a mesh.
# Clients: 3

# The last two radios are nodes of a mesh. The second one is the proxy of an address behind it.
client=client1
node=client2
peer=client3
behind=02:00:00:00:77:01

# Sends a request. Sets `answer` to the output.
ask() { answer="$("$vm_programs/requests" "$@" 2>&1)" || true; }

# answers PATTERN REQUEST...: whether the answer to a request matches.
answers() {
  ask "${@:2}"
  [[ "$answer" =~ $1 ]]
}

expect_answer() {
  expect "$2 answers like $1" answers "$@"
  # shellcheck disable=SC2001 # line by line
  show <<<"$answer"
}

# Whether iw and the request have the same receive rate. iw prints Mbit/s, the request kbit/s.
agrees_on_rate() {
  ask stations wlan-2400mhz
  [[ "$answer" =~ rx-rate\ ([0-9]+)00\  ]] &&
    [[ "$(station_value 2400mhz "$client" 'rx bitrate')" == \
      "$((BASH_REMATCH[1] / 10)).$((BASH_REMATCH[1] % 10))" ]]
}

step "A client joins, and sends data."
start_hostapd 2400mhz
start_clients
address="$(address_of "$client")"
join "$client" 2400mhz
start_traffic 40 "$client"
expect "the kernel's average is -50 dBm" signal_is 2400mhz "$client" -50

step "All stations of an interface: each station, then the end of the dump."
one="^station $address index $(<"/sys/class/net/wlan-2400mhz/ifindex") signal -50 average -5[01] authorized true [^"$'\n'"]*"
expect_answer "$one"$'\n'"complete$" stations wlan-2400mhz
expect "iw prints the same receive rate" agrees_on_rate

step "All stations of an interface without stations: only the end of the dump."
expect_answer '^complete$' stations wlan-5000mhz

step "One station, by name and address: the station, and no completion."
expect_answer "$one"$'\n''no completion$' station wlan-2400mhz "$address"

step "One station, by the attributes of a message: the same."
expect_answer "$one"$'\n''no completion$' station-of-message wlan-2400mhz "$address"

step "A station that does not exist: the kernel's error."
expect_answer '^error 2: .+$' station wlan-2400mhz 02:00:00:00:99:99

step "An interface that does not exist: no request. An interface without paths: the kernel's error."
expect_answer 'no interface wlan-nowhere' stations wlan-nowhere
expect_answer '^error 95: .+$' mesh-paths wlan-2400mhz
expect_answer '^error 95: .+$' mesh-proxy-paths wlan-2400mhz

step "Two radios form a mesh, and send data to each other."
stop traffic || true
stop clients || true
for interface in "$node" "$peer"; do
  busybox ip link set "$interface" down
  iw dev "$interface" set type mp
  busybox ip link set "$interface" up
  iw dev "$interface" mesh join lab-mesh freq 2462
done
node_address="$(address_of "$node")"
peer_address="$(address_of "$peer")"
start traffic "$vm_programs/traffic" --rate 20 --to "$peer_address" "$node"

step "The path from one to the other, then the end of the dump."
direct="^path $peer_address via $peer_address index $(<"/sys/class/net/$node/ifindex")"
expect_answer "$direct metric [1-9][0-9]* queued 0 active true resolved (true|false)"$'\n''complete$' \
  mesh-paths "$node"
iw dev "$node" mpath dump | tail -n 1 | show

step "One node is the proxy of an address behind it. The path to that address leads through the node:"
expect_answer '^complete$' mesh-proxy-paths "$node"
start proxied "$vm_programs/traffic" --rate 20 --to "$node_address" --from "$behind" "$peer"
expect_answer "^proxy-path $behind via $peer_address"$'\n''complete$' mesh-proxy-paths "$node"
iw dev "$node" mpp dump | tail -n 1 | show
