# shellcheck shell=bash
# What a scenario finds: the names of things, and the functions of lab/world.sh and
# lab/vm/access_point.sh.

# What a login would have set.
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8

source script/lib.sh

{
  read -r scenario
  read -r client_count
  read -r rounds
  read -r build
  read -r bridged
} </run/results/request

# shellcheck disable=SC2034 # scenarios read it
readonly scenario client_count rounds bridged
caller="${scenario:-lab}"
readonly scratch=/run/lab
# shellcheck disable=SC2034 # scenarios read it
readonly programs="$build/testbed"
readonly vm_programs="$build/lab/vm"
readonly daemon="$build/optimizer/ap-wavelark"
readonly bridge="$build/bridge/ap-wavelark-bridge"
mkdir -p "$scratch"

source lab/world.sh
source lab/vm/access_point.sh

# Starting a program is slow on a processor that is emulated, and so is the rest.
pause=0.2
patience=120

prepare_radios
