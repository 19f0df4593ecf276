# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh says where things are
# An access point and its clients, in the virtual machine. Sourced by lab/vm/inside.
#
# A band is a word, 2400mhz or 5000mhz, as in the names of the interfaces; a client is client1 and so on.

readonly -A channels=([2400mhz]=6 [5000mhz]=36) modes=([2400mhz]=g [5000mhz]=a)
readonly -A frequencies=([2400mhz]=2437 [5000mhz]=5180)
readonly -A networks=([2400mhz]=0 [5000mhz]=1)
readonly network_key=000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f
# shellcheck disable=SC2034 # scenarios read it
readonly wrong_key="${network_key/000102/ffffff}"
# What an access point says to be open, or not, and what its clients say.
readonly -A access_point_keys=(
  [secured]="wpa=2
wpa_key_mgmt=WPA-PSK
rsn_pairwise=CCMP
wpa_psk=$network_key"
  [protected]="wpa=2
wpa_key_mgmt=WPA-PSK-SHA256
rsn_pairwise=CCMP
ieee80211w=2
wpa_psk=$network_key"
  [sae]="wpa=2
wpa_key_mgmt=SAE
rsn_pairwise=CCMP
ieee80211w=2
sae_password=laboratory"
  [open]=''
)
readonly -A client_keys=(
  [secured]="key_mgmt=WPA-PSK psk=$network_key"
  [protected]="key_mgmt=WPA-PSK-SHA256 ieee80211w=2 psk=$network_key"
  [sae]='key_mgmt=SAE ieee80211w=2 sae_password="laboratory"'
  [open]='key_mgmt=NONE'
)
# A scenario may choose another one before it starts anything: `protected` requires protected
# management frames.
network=secured
# Where the daemon looks for hostapd, and where hostapd serves its own sockets.
control_directory=/var/run/hostapd
hostapd_directory="$control_directory"
[[ "$bridged" == no ]] || hostapd_directory=/run/stock-hostapd
readonly clients_directory=/run/clients

# --- Radios ---

# Names the interfaces of the radios: the access point's two, then the clients'. The power of a client
# is fixed, so that `set_signal` says what is heard of it.
prepare_radios() {
  local names=(wlan-2400mhz wlan-5000mhz) number
  for ((number = 1; number <= client_count; ++number)); do names+=("client$number"); done
  for number in "${!names[@]}"; do
    busybox ip link set "wlan$number" down
    busybox ip link set "wlan$number" name "${names[number]}"
  done
  for ((number = 1; number <= client_count; ++number)); do
    iw dev "client$number" set txpower fixed 0
    set_signal "client$number" -50
  done
}

radio_of() { cat "/sys/class/net/$1/phy80211/name"; }

address_of() { printf '%s' "$(<"/sys/class/net/$1/address")"; }

# Radios hear each other where their groups have a bit in common; at first each has the first bit.
set_group() {
  printf '%u' "$2" >"/sys/kernel/debug/ieee80211/$(radio_of "$1")/hwsim/group"
}

# How strongly a client is heard, in dBm, -100 to -1. The knob takes no sign.
set_signal() {
  printf '%u' "$2" >"/sys/kernel/debug/ieee80211/$(radio_of "$1")/hwsim/rx_rssi"
}

# Has these clients send small frames all the time, `rate` a second each: the kernel's average signal
# moves only with frames, and a station that never sent one has no receive rate.
start_traffic() {
  start traffic "$vm_programs/traffic" --rate "$1" "${@:2}"
}

# Makes a client's radio a monitor on the channel of a band, through which any frames can be sent.
start_monitor() {
  busybox ip link set "$1" down
  iw dev "$1" set type monitor
  busybox ip link set "$1" up
  iw dev "$1" set freq "${frequencies[$2]}"
}

# --- hostapd ---

# With a file in it hostapd leaves the directory where it is when it ends; a daemon that watches it does
# not lose it.
make_control_directory() {
  mkdir -p "$control_directory" "$hostapd_directory"
  touch "$hostapd_directory/.keep"
}

# Starts hostapd on a band, behind the bridge if there is to be one.
start_hostapd() {
  make_control_directory
  if [[ "$bridged" == no ]]; then
    run_hostapd "$1"
  else
    start_bridge
    bridge_hostapd "$1"
  fi
}

run_hostapd() {
  local band="$1"
  write "$scratch/hostapd-$band.conf" <<CONFIG
interface=wlan-$band
driver=nl80211
ctrl_interface=$hostapd_directory
ssid=lab
country_code=US
hw_mode=${modes[$band]}
channel=${channels[$band]}
ieee80211n=1
wmm_enabled=1
${access_point_keys[$network]}
CONFIG
  # It tells of those that attach, and of commands, only when it is asked to be talkative.
  start "hostapd-$band" hostapd -d "$scratch/hostapd-$band.conf"
  expect "hostapd starts on wlan-$band" told "hostapd-$band" 'AP-ENABLED'
}

# Asks a running hostapd.
ask_hostapd() { hostapd_cli -p "$hostapd_directory" -i "wlan-$1" "${@:2}"; }

# --- The bridge ---

# Starts the bridge between hostapd's directory and the daemon's, unless it is running.
start_bridge() {
  [[ ! -v 'pids[bridge]' ]] || return 0
  start bridge "$bridge" --v=1 --hostapd-directory="$hostapd_directory" \
    --directory="$control_directory" --metrics-file="$scratch/bridge.prom"
}

# How often the daemon had attached to a band when the hostapd behind the bridge was last started.
declare -A earlier_attaches=()

# Starts hostapd on a band, and waits until the bridge serves that band.
bridge_hostapd() {
  local serves
  serves="$(count_serves "$1")"
  earlier_attaches[$1]="$(count_attached "$1")"
  run_hostapd "$1"
  expect "the bridge serves wlan-$1" serves_again "$1" "$serves"
}

# How often the bridge has attached to the hostapd of a band.
count_serves() { count_told bridge "Attached to hostapd at $hostapd_directory/wlan-$1\$"; }

serves_again() { (("$(count_serves "$1")" > $2)) && [[ -S "$control_directory/wlan-$1" ]]; }

# What the bridge writes of a client on a band: an expression for an event and its attributes.
line_pattern() {
  printf 'wlan-%s writes: <3>AP-STA-%s %s .*%s' "$1" "$2" "$(address_of "$3")" "${4:-}"
}

count_lines() { count_told bridge "$(line_pattern "$@")"; }

# Waits for such a line, the `count`-th one.
expect_line() {
  expect "the bridge writes AP-STA-$2 of $3 on wlan-$1 ${4:-}" \
    told bridge "$(line_pattern "$1" "$2" "$3" "${4:-}")" "${5:-1}"
}

# --- Clients ---

write_client() {
  local band
  printf 'ctrl_interface=%s\n' "$clients_directory"
  for band in 2400mhz 5000mhz; do
    printf 'network={\n ssid="lab"\n'
    # shellcheck disable=SC2086 # a line a word
    printf ' %s\n' ${client_keys[$network]}
    printf ' freq_list=%d\n scan_freq=%d\n disabled=1\n}\n' {,}"${frequencies[$band]}"
  done
}

# More options of theirs. With -t they log times.
client_options=()

# Starts the clients, or the first `count` of them, one program for all. They join nothing yet.
start_clients() {
  local number count="${1:-$client_count}" arguments=("${client_options[@]}")
  write_client | write "$scratch/client.conf"
  for ((number = 1; number <= count; ++number)); do
    ((number == 1)) || arguments+=(-N)
    arguments+=(-i "client$number" -D nl80211 -c "$scratch/client.conf")
  done
  start clients wpa_supplicant "${arguments[@]}"
  # The last one answers once all are there. A socket alone may not take commands yet.
  expect "the clients start" client_answers "client$count"
}

ask_client() { wpa_cli -p "$clients_directory" -i "$1" "${@:2}"; }

client_answers() { [[ "$(ask_client "$1" ping 2>/dev/null)" == PONG ]]; }

# Gives a command that a client cannot refuse.
command_client() { [[ "$(ask_client "$@")" == OK ]] || give_up "$1 takes the command ${*:2}"; }

# Gives a client another key for 2.4 GHz.
set_key() { command_client "$1" set_network "${networks[2400mhz]}" psk "$2"; }

# Takes a client off its network, or off the way to it. Nothing that it knew of an access point counts
# any more.
leave() {
  command_client "$1" disconnect
  expect "$1 leaves" client_is_away "$1"
}

client_is_away() { [[ "$(ask_client "$1" status)" == *wpa_state=@(DISCONNECTED|INACTIVE)* ]]; }

# How often a client had joined when it last began to.
declare -A earlier_joins=()

count_joins() { count_told clients "^([0-9.]+: )?$1: CTRL-EVENT-CONNECTED "; }

# Makes a client look for the network of a band, and for no other. It leaves first: a client that has
# not noticed yet that its access point went away takes itself for connected, and does nothing.
begin_to_join() {
  leave "$1"
  earlier_joins[$1]="$(count_joins "$1")"
  command_client "$1" select_network "${networks[$2]}"
}

# Whether a client has joined since it began to, and is on the network of a band. An access point that
# finds the handshake too slow throws the client out; the client then begins again.
has_joined() {
  local status
  status="$(ask_client "$1" status)"
  case "$status" in
    *wpa_state=DISCONNECTED*) begin_to_join "$1" "$2" ;;
    *wpa_state=COMPLETED*)
      [[ "$status" == *"freq=${frequencies[$2]}"* ]] && (("$(count_joins "$1")" > earlier_joins[$1]))
      return
      ;;
  esac
  return 1
}

join() { join_all "$2" "$1"; }

# Makes clients join at a band, at the same time.
join_all() {
  local client
  for client in "${@:2}"; do begin_to_join "$client" "$1"; done
  for client in "${@:2}"; do expect "$client joins at $1" has_joined "$client" "$1"; done
}

# Keeps steered clients away until they are made to join.
stay_away() {
  local client
  for client in "$@"; do command_client "$client" sta_autoconnect 0; done
}

# What the kernel says of a station of a band, as `iw` prints it: a value of "signal avg", say. Empty if
# the station is not there.
station_value() {
  local band="$1" address
  address="$(address_of "$2")"
  iw dev "wlan-$band" station dump |
    awk -v address="$address" -v key="$3" '
      $1 == "Station" { here = $2 == address }
      here && index($0, key ":") { sub(/^[^:]*:[ \t]*/, ""); print $1; exit }'
}

# Whether a client's average signal is within a decibel or two of what was set.
signal_is() {
  local signal
  signal="$(station_value "$1" "$2" 'signal avg')"
  [[ -n "$signal" ]] && ((signal >= $3 - 2 && signal <= $3 + 2))
}

# --- The daemon, and the services it talks to ---

# A bus, the flags service and the recorder.
start_services() {
  start_bus
  make_salt
  start_flags
  start_recorder
}

# Starts the daemon, and waits until it is attached where hostapd is running.
start_daemon() {
  local band
  start daemon "$daemon" --v=1 "$@"
  for band in 2400mhz 5000mhz; do
    [[ ! -v "pids[hostapd-$band]" ]] || expect_attached "$band"
  done
}

# How often the daemon has attached to a band: to the bridge since that was started, or to hostapd.
count_attached() {
  if [[ "$bridged" == no ]]; then
    count_told "hostapd-$1" 'CTRL_IFACE monitor attached'
  else
    count_told bridge "wlan-$1 attaches .*-wavelark-wlan-$1\$"
  fi
}

has_attached() { (("$(count_attached "$1")" >= $2)); }

# Waits until the daemon has attached to a band since its hostapd was started.
expect_attached() {
  expect "the daemon attaches to wlan-$1" has_attached "$1" $((${earlier_attaches[$1]:-0} + 1))
}

# Waits until the daemon has heard of an event on a band, `count` times in all.
expect_event() {
  expect "the daemon hears of $2 on wlan-$1" told daemon "$(event_pattern "$1" "$2")" "${3:-1}"
}

# Starts the daemon as a service manager does, which starts it again whenever it fails.
start_supervised_daemon() {
  start daemon lab/vm/keep_running "$daemon" --v=1 "$@"
}

# What the daemon tells of a client at each poll but the first on a band: an expression for its line,
# with the metric and the one that it remembers of that band, if they matter.
poll_pattern() {
  printf '%s link_quality_metric %s last_steer_link_quality_metric %s time since' \
    "$(address_of "$1")" "${2:-[0-9]+}" "${3:-[0-9]+}"
}

# The seconds of a time as the daemon logs it: 59.2s or 1m0.2s.
seconds_of() {
  awk -v time="$1" 'BEGIN {
    minutes = split(time, part, "m") > 1 ? part[1] : 0
    printf "%.3f", 60 * minutes + part[minutes ? 2 : 1] }'
}

# Waits for a poll of a client from now on, or for `count` polls.
expect_polls() {
  local pattern seen
  pattern="$(poll_pattern "$1")"
  seen="$(count_told daemon "$pattern")"
  expect "the daemon polls $1" told daemon "$pattern" $((seen + ${2:-1}))
}

# Stops the daemon while a client is on its way. One that is about to join and has not sent any data yet
# is fatal to a poll; and one that was sent off is not forgotten meanwhile, however slow it is.
hold_daemon() { kill -STOP "${pids[daemon]}"; }

release_daemon() { kill -CONT "${pids[daemon]}"; }

# Waits until the daemon has had a client sent off, `count` times in all, and the client knows.
expect_steered() {
  expect "the daemon has $1 sent off" told daemon "$(steer_pattern "$1")" "${2:-1}"
  expect "$1 is told" told clients "^$1: CTRL-EVENT-DISCONNECTED .*reason=5" "${2:-1}"
}

# How often a client has been sent off.
count_steered() { count_told daemon "$(steer_pattern "$1")"; }

steer_pattern() { printf 'Steer Client %s ' "$(address_of "$1")"; }

# Shows the line in which the daemon last sent a client off.
show_steered() { grep "$(steer_pattern "$1")" "$scratch/daemon.log" | tail -n 1 | show; }

event_pattern() { printf 'EventCallback: wlan-%s event: %s ' "$1" "$2"; }
