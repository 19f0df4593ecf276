# shellcheck shell=bash
# What a scenario can use: these variables, and the functions of lab/world.sh, lab/vm/access_point.sh and
# lab/vm/trace.sh.

# The environment that a login would set.
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
readonly wavelarkctl="$build/wavelarkctl/wavelarkctl"
mkdir -p "$scratch"

source lab/world.sh
source lab/vm/access_point.sh
source lab/vm/trace.sh

# On an emulated processor everything is slow, above all starting a program.
pause=0.2
patience=120

prepare_radios
