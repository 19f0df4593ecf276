# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# Each request of the request manager, on a real kernel: stations of an access point, paths of a mesh.
# Clients: 3

# The last two radios are nodes of a mesh; the second stands in for somebody behind it.
client=client1
node=client2
peer=client3
behind=02:00:00:00:77:01

# Sends a request; what came back is in `answer`.
ask() { answer="$("$vm_programs/requests" "$@" 2>&1)" || true; }

# Asks until what comes back matches.
answers() {
  ask "${@:2}"
  [[ "$answer" =~ $1 ]]
}

expect_answer() {
  expect "$2 answers like $1" answers "$@"
  # shellcheck disable=SC2001 # a line at a time
  show <<<"$answer"
}

# Whether iw, which counts in Mbit/s, tells the receive rate that the request does, in kbit/s.
agrees_on_rate() {
  ask stations wlan-2400mhz
  [[ "$answer" =~ rx-rate\ ([0-9]+)00\  ]] &&
    [[ "$(station_value 2400mhz "$client" 'rx bitrate')" == \
      "$((BASH_REMATCH[1] / 10)).$((BASH_REMATCH[1] % 10))" ]]
}

step "A client joins, and talks."
start_hostapd 2400mhz
start_clients
address="$(address_of "$client")"
join "$client" 2400mhz
start_traffic 40 "$client"
expect "the kernel knows its signal" signal_is 2400mhz "$client" -50

step "All stations of an interface: each, then the end."
one="^station $address index $(<"/sys/class/net/wlan-2400mhz/ifindex") signal -50 average -5[01] authorized true [^"$'\n'"]*"
expect_answer "$one"$'\n'"complete$" stations wlan-2400mhz
expect "iw tells the same receive rate" agrees_on_rate

step "All stations of an interface that has none: the end."
expect_answer '^complete$' stations wlan-5000mhz

step "One station, by name and address: the station, and no word of an end."
expect_answer "$one"$'\n''no completion$' station wlan-2400mhz "$address"

step "One station, by the attributes of a message: the same."
expect_answer "$one"$'\n''no completion$' station-of-message wlan-2400mhz "$address"

step "One that is not there: the kernel's error."
expect_answer '^error 2: .+$' station wlan-2400mhz 02:00:00:00:99:99

step "An interface that is not there: nothing is sent. One without paths: the kernel's error."
expect_answer 'no interface wlan-nowhere' stations wlan-nowhere
expect_answer '^error 95: .+$' mesh-paths wlan-2400mhz
expect_answer '^error 95: .+$' mesh-proxy-paths wlan-2400mhz

step "Two radios form a mesh, and talk to each other."
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

step "The path from one to the other, and the end."
direct="^path $peer_address via $peer_address index $(<"/sys/class/net/$node/ifindex")"
expect_answer "$direct metric [1-9][0-9]* queued 0 active true resolved (true|false)"$'\n''complete$' \
  mesh-paths "$node"
iw dev "$node" mpath dump | tail -n 1 | show

step "The other stands in for somebody behind it: the path to that one goes through it."
expect_answer '^complete$' mesh-proxy-paths "$node"
start proxied "$vm_programs/traffic" --rate 20 --to "$node_address" --from "$behind" "$peer"
expect_answer "^proxy-path $behind via $peer_address"$'\n''complete$' mesh-proxy-paths "$node"
iw dev "$node" mpp dump | tail -n 1 | show
