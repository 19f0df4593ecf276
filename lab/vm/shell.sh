# shellcheck shell=bash
# What the prompt in the virtual machine begins with. Sourced by lab/vm/inside's bash.

source lab/vm/begin.sh
set +eu
# At a prompt a failure is something to look at, not the end.
fail() { printf 'failed: %s\n' "$*" >&2; }
PS1='lab:\w# '
cat <<TEXT
The radios are there, nothing runs yet. What scenarios are made of can be typed here, for example:
  start_services; start_hostapd 2400mhz; start_hostapd 5000mhz
  start_clients; join client1 2400mhz; start_traffic 20 client1
  start_daemon --enable_client_steering --client_steering_poll_interval=5
  set_signal client1 -80; iw dev wlan-2400mhz station dump; tail -f \$scratch/daemon.log
What programs write is in $scratch. Ctrl-D ends the machine.
TEXT
