# shellcheck shell=bash
# The start of the prompt in the virtual machine. The bash of lab/vm/inside sources it.

source lab/vm/begin.sh
set +eu
# At a prompt a failure does not end the shell.
fail() { printf 'failed: %s\n' "$*" >&2; }
PS1='lab:\w# '
cat <<TEXT
The radios exist, and no program runs yet. All functions of scenarios can be used here, for example:
  start_services; start_hostapd 2400mhz; start_hostapd 5000mhz
  start_clients; join client1 2400mhz; start_traffic 20 client1
  start_daemon --enable_client_steering --client_steering_poll_interval=5
  set_signal client1 -80; iw dev wlan-2400mhz station dump; tail -f \$scratch/daemon.log
The logs of programs are in $scratch. Ctrl-D ends the machine.
TEXT
