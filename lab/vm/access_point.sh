# shellcheck shell=bash disable=SC2154 # lab/vm/begin.sh sets the variables
# Functions for an access point and its clients in the virtual machine. Sourced by lab/vm/begin.sh.
#
# A band is 2400mhz or 5000mhz, as in the names of the interfaces. Clients are client1, client2 and so on.

readonly -A channels=([2400mhz]=6 [5000mhz]=36) modes=([2400mhz]=g [5000mhz]=a)
readonly -A frequencies=([2400mhz]=2437 [5000mhz]=5180)
readonly -A networks=([2400mhz]=0 [5000mhz]=1)
readonly network_key=000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f
# shellcheck disable=SC2034 # scenarios read it
readonly wrong_key="${network_key/000102/ffffff}"
# The security settings of a network, for hostapd and for clients.
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
# The kind of network. A scenario may set another one before it starts anything: `protected` requires
# protected management frames.
network=secured
# The directory where the daemon expects hostapd's sockets, and the one of hostapd's own sockets.
control_directory=/var/run/hostapd
hostapd_directory="$control_directory"
[[ "$bridged" == no ]] || hostapd_directory=/run/stock-hostapd
readonly clients_directory=/run/clients

# --- Radios ---

# Names the interfaces of the radios: the access point's two, then the clients'. The power of a client is
# fixed, so that `set_signal` alone determines its signal.
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

# Radios hear each other if their groups have a common bit. Initially each group is the first bit.
set_group() {
  printf '%u' "$2" >"/sys/kernel/debug/ieee80211/$(radio_of "$1")/hwsim/group"
}

# Sets the signal of a client at the access point, in dBm, from -100 to -1. The kernel's file takes an
# unsigned number.
set_signal() {
  printf '%u' "$2" >"/sys/kernel/debug/ieee80211/$(radio_of "$1")/hwsim/rx_rssi"
}

# start_traffic RATE CLIENT...: each client sends RATE small frames a second from now on. The kernel's
# average signal follows the signal only with frames, and a station without frames has no receive rate.
start_traffic() {
  start traffic "$vm_programs/traffic" --rate "$1" "${@:2}"
}

# answer_traffic BAND CLIENT: the access point sends small frames to a client from now on. Some kernels
# report a transmit rate only then, or after the handshake of a secured network.
answer_traffic() {
  start "answers-$2" "$vm_programs/traffic" --rate 10 --to "$(address_of "$2")" "wlan-$1"
}

# Whether the kernel reports both rates of a client.
has_rates() { [[ -n "$(station_value "$1" "$2" 'rx bitrate')" && -n "$(station_value "$1" "$2" 'tx bitrate')" ]]; }

# Makes a client's radio a monitor on the channel of a band. It can send any frames.
start_monitor() {
  busybox ip link set "$1" down
  iw dev "$1" set type monitor
  busybox ip link set "$1" up
  iw dev "$1" set freq "${frequencies[$2]}"
}

# --- hostapd ---

# A file in the directory keeps hostapd from removing it at its end. The daemon watches the directory.
make_control_directory() {
  mkdir -p "$control_directory" "$hostapd_directory"
  touch "$hostapd_directory/.keep"
}

# Starts hostapd on a band, behind the bridge if the scenario has it.
start_hostapd() {
  make_control_directory
  if [[ "$bridged" == no ]]; then
    run_hostapd "$1"
  else
    start_bridge
    bridge_hostapd "$1"
  fi
}

# The lines of hostapd's configuration about the network on a band.
network_settings() {
  cat <<SETTINGS
driver=nl80211
ssid=lab
country_code=US
hw_mode=${modes[$1]}
channel=${channels[$1]}
ieee80211n=1
wmm_enabled=1
${access_point_keys[$network]}
SETTINGS
}

run_hostapd() {
  local band="$1"
  { printf '%s\n' "interface=wlan-$band" "ctrl_interface=$hostapd_directory" && network_settings "$band"; } |
    write "$scratch/hostapd-$band.conf"
  # Only with -d it logs commands and who attaches.
  start "hostapd-$band" hostapd -d "$scratch/hostapd-$band.conf"
  expect "hostapd starts on wlan-$band" printed "hostapd-$band" 'AP-ENABLED'
}

# Sends a command to a running hostapd.
ask_hostapd() { hostapd_cli -p "$hostapd_directory" -i "wlan-$1" "${@:2}"; }

# --- The bridge ---

# Starts the bridge between hostapd's directory and the daemon's, unless it is running.
start_bridge() {
  [[ ! -v 'pids[bridge]' ]] || return 0
  start bridge "$bridge" --v=1 --hostapd-directory="$hostapd_directory" \
    --directory="$control_directory" --metrics-file="$scratch/bridge.prom"
}

# How often the daemon had attached to a band at the last start of the hostapd behind the bridge.
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
count_serves() { count_printed bridge "Attached to hostapd at $hostapd_directory/wlan-$1\$"; }

serves_again() { (("$(count_serves "$1")" > $2)) && [[ -S "$control_directory/wlan-$1" ]]; }

# line_pattern BAND EVENT CLIENT [ATTRIBUTES]: an expression for a line of the bridge about a client.
line_pattern() {
  printf 'wlan-%s writes: <3>AP-STA-%s %s .*%s' "$1" "$2" "$(address_of "$3")" "${4:-}"
}

count_lines() { count_printed bridge "$(line_pattern "$@")"; }

# expect_line BAND EVENT CLIENT [ATTRIBUTES [COUNT]]: waits until the bridge has written COUNT such lines.
expect_line() {
  expect "the bridge writes AP-STA-$2 of $3 on wlan-$1 ${4:-}" \
    printed bridge "$(line_pattern "$1" "$2" "$3" "${4:-}")" "${5:-1}"
}

# --- Clients ---

write_client() {
  local band
  printf 'ctrl_interface=%s\n' "$clients_directory"
  for band in 2400mhz 5000mhz; do
    printf 'network={\n ssid="lab"\n'
    # shellcheck disable=SC2086 # each word becomes a line
    printf ' %s\n' ${client_keys[$network]}
    printf ' freq_list=%d\n scan_freq=%d\n disabled=1\n}\n' {,}"${frequencies[$band]}"
  done
}

# More options of wpa_supplicant. With -t it logs times.
client_options=()

# Starts the clients, or the first `count` of them, in one process. They do not join yet.
start_clients() {
  local number count="${1:-$client_count}" arguments=("${client_options[@]}")
  write_client | write "$scratch/client.conf"
  for ((number = 1; number <= count; ++number)); do
    ((number == 1)) || arguments+=(-N)
    arguments+=(-i "client$number" -D nl80211 -c "$scratch/client.conf")
  done
  start clients wpa_supplicant "${arguments[@]}"
  # The last one answers when all are ready. A socket may exist before it answers.
  expect "the clients start" client_answers "client$count"
}

ask_client() { wpa_cli -p "$clients_directory" -i "$1" "${@:2}"; }

client_answers() { [[ "$(ask_client "$1" ping 2>/dev/null)" == PONG ]]; }

# Sends a command to a client, which must accept it.
command_client() { [[ "$(ask_client "$@")" == OK ]] || give_up "$1 takes the command ${*:2}"; }

# Sets a client's key for 2.4 GHz.
set_key() { command_client "$1" set_network "${networks[2400mhz]}" psk "$2"; }

# Makes a client leave its network, or stop joining one.
leave() {
  command_client "$1" disconnect
  expect "$1 leaves" client_is_away "$1"
}

client_is_away() { [[ "$(ask_client "$1" status)" == *wpa_state=@(DISCONNECTED|INACTIVE)* ]]; }

# How often a client had joined before its last attempt began.
declare -A earlier_joins=()

count_joins() { count_printed clients "^([0-9.]+: )?$1: CTRL-EVENT-CONNECTED "; }

# Makes a client look for the network of one band only. It leaves first: a client that has not noticed
# that its access point is gone would do nothing.
begin_to_join() {
  leave "$1"
  earlier_joins[$1]="$(count_joins "$1")"
  command_client "$1" select_network "${networks[$2]}"
}

# Whether a client has joined the network of a band since its attempt began. If the handshake takes too
# long, the access point rejects the client, which then begins again.
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

# Makes clients join a band at the same time.
join_all() {
  local client
  for client in "${@:2}"; do begin_to_join "$client" "$1"; done
  for client in "${@:2}"; do expect "$client joins $1" has_joined "$client" "$1"; done
}

# Keeps steered clients away until `join`.
stay_away() {
  local client
  for client in "$@"; do command_client "$client" sta_autoconnect 0; done
}

# station_value BAND CLIENT KEY: a value of the kernel's station entry as `iw` prints it, for example of
# "signal avg". Empty if there is no such station.
station_value() {
  local band="$1" address
  address="$(address_of "$2")"
  iw dev "wlan-$band" station dump |
    awk -v address="$address" -v key="$3" '
      $1 == "Station" { here = $2 == address }
      here && index($0, key ":") { sub(/^[^:]*:[ \t]*/, ""); print $1; exit }'
}

# signal_is BAND CLIENT DBM: whether the client's average signal is within 2 dB of a value.
signal_is() {
  local signal
  signal="$(station_value "$1" "$2" 'signal avg')"
  [[ -n "$signal" ]] && ((signal >= $3 - 2 && signal <= $3 + 2))
}

# --- The daemon and its services ---

# Starts a bus, the flags service and the recorder.
start_services() {
  start_bus
  make_salt
  start_flags
  start_recorder
}

# Starts the daemon, and waits until it is attached to each running hostapd.
start_daemon() {
  local band
  start daemon "$daemon" --v=1 "$@"
  for band in 2400mhz 5000mhz; do
    [[ ! -v "pids[hostapd-$band]" ]] || expect_attached "$band"
  done
}

# How often the daemon has attached to a band: to hostapd, or to the bridge since the start of that.
count_attached() {
  if [[ "$bridged" == no ]]; then
    count_printed "hostapd-$1" 'CTRL_IFACE monitor attached'
  else
    count_printed bridge "wlan-$1 attaches .*-wavelark-wlan-$1\$"
  fi
}

has_attached() { (("$(count_attached "$1")" >= $2)); }

# Waits until the daemon has attached to a band since the start of its hostapd.
expect_attached() {
  expect "the daemon attaches to wlan-$1" has_attached "$1" $((${earlier_attaches[$1]:-0} + 1))
}

# expect_event BAND EVENT [COUNT]: waits until the daemon has received COUNT such events on a band.
expect_event() {
  expect "the daemon receives $2 on wlan-$1" printed daemon "$(event_pattern "$1" "$2")" "${3:-1}"
}

# Starts the daemon as a service manager does, which restarts it after each failure.
start_supervised_daemon() {
  start daemon lab/vm/keep_running "$daemon" --v=1 "$@"
}

# poll_pattern CLIENT [METRIC [LAST_METRIC]]: an expression for the line that the daemon logs about a
# client at each poll but the first on a band.
poll_pattern() {
  printf '%s link_quality_metric %s last_steer_link_quality_metric %s time since' \
    "$(address_of "$1")" "${2:-[0-9]+}" "${3:-[0-9]+}"
}

# Converts a time as the daemon logs it, 59.2s or 1m0.2s, to seconds.
seconds_of() {
  awk -v time="$1" 'BEGIN {
    minutes = split(time, part, "m") > 1 ? part[1] : 0
    printf "%.3f", 60 * minutes + part[minutes ? 2 : 1] }'
}

# expect_polls CLIENT [COUNT]: waits for COUNT more polls of a client, 1 by default.
expect_polls() {
  local pattern seen
  pattern="$(poll_pattern "$1")"
  seen="$(count_printed daemon "$pattern")"
  expect "the daemon polls $1" printed daemon "$pattern" $((seen + ${2:-1}))
}

# Stops the daemon, and the trace if there is one, while a client joins. A poll of a client that has
# joined and not yet sent data would abort the daemon. A slow client would be forgotten meanwhile.
hold_daemon() {
  kill -STOP "${pids[daemon]}"
  [[ ! -v 'pids[trace]' ]] || kill -STOP "${pids[trace]}"
}

# In microseconds. The daemon sees nothing that happens between hold_daemon and this time.
released_at=

release_daemon() {
  [[ ! -v 'pids[trace]' ]] || release_trace
  # shellcheck disable=SC2034 # scenarios read it
  released_at="${EPOCHREALTIME/[.,]/}"
  kill -CONT "${pids[daemon]}"
}

# expect_steered CLIENT [COUNT]: waits until the daemon has steered a client COUNT times, and the client
# has noticed.
expect_steered() {
  expect "the daemon steers $1" printed daemon "$(steer_pattern "$1")" "${2:-1}"
  expect "$1 is disconnected with reason 5" printed clients "^$1: CTRL-EVENT-DISCONNECTED .*reason=5" "${2:-1}"
}

# How often the daemon has steered a client.
count_steered() { count_printed daemon "$(steer_pattern "$1")"; }

steer_pattern() { printf 'Steer Client %s ' "$(address_of "$1")"; }

# Shows the daemon's log line about the last steer of a client.
show_steered() { grep "$(steer_pattern "$1")" "$scratch/daemon.log" | tail -n 1 | show; }

event_pattern() { printf 'EventCallback: wlan-%s event: %s ' "$1" "$2"; }
