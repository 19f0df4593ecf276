# shellcheck shell=bash
# Common functions of the packaging tests. A test sources this file first, which changes to the project's root.

source "$(dirname "${BASH_SOURCE[0]}")/../../script/lib.sh"

# The number of complaints. A test ends with ((failures == 0)).
failures=0

# Prints a failure. The test continues.
complain() {
  printf '%s\n' "$*" >&2
  failures=$((failures + 1))
}

# Ends the test as skipped.
skip() {
  printf 'skipped: %s\n' "$*"
  exit 77
}

# enter_namespaces UNSHARE-OPTION... -- ARGUMENT...: runs the test again in new namespaces, as root, with the
# arguments after --inside.
enter_namespaces() {
  local options=()
  while [[ "$1" != -- ]]; do options+=("$1") && shift; done
  ((EUID == 0)) || skip "needs root"
  unshare "${options[@]}" true || skip "needs new namespaces: unshare ${options[*]}"
  exec unshare "${options[@]}" "$BASH" "packaging/test/$caller" --inside "${@:2}"
}

# check_manual FILE: mandoc finds no fault in a man page.
check_manual() {
  local faults
  command -v mandoc >/dev/null || return 0
  faults="$(mandoc -Tlint "$1")" || complain "$faults"
}
