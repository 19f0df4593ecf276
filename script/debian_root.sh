# shellcheck shell=bash
# Creates fresh Debian systems in folders. Source it after script/lib.sh. Needs root and the packages of the
# group `fresh-root`.

# The process that `isolate` started and `await_isolated` waits for.
isolated=

# Starts a command in its own mount and process namespace: its mounts and processes end with it, and with
# this script. Without --default-signal, Bash makes a background program ignore SIGINT.
isolate() {
  setpriv --pdeathsig KILL env --default-signal=INT,QUIT \
    unshare --mount --pid --fork --kill-child --mount-proc "$@" <&0 &
  isolated=$!
}

# Returns the exit status of the command.
await_isolated() {
  local status=0
  wait "$isolated" || status=$?
  isolated=
  return "$status"
}

# Kills the first process of the namespace, which ends all others. `unshare` ends after them.
end_isolated() {
  [[ -n "$isolated" ]] || return 0
  pkill -KILL --parent "$isolated" || kill -KILL "$isolated" 2>/dev/null || true
  await_isolated 2>/dev/null || true
}

# Prints the Debian sources of this machine's apt for the release SUITE, as lines of sources.list.
debian_sources() {
  local suite="$1" own
  own="$(source /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")"
  # shellcheck disable=SC2016 # for apt-get
  apt-get indextargets --format '$(ORIGIN) $(REPO_URI) $(CODENAME) $(COMPONENT)' \
    'Created-By: Packages' |
    awk -v own="^$own" -v suite="$suite" \
      '$1 == "Debian" { sub(own, suite, $3); print "deb", $2, $3, $4 }' | sort -u
}

# make_root SUITE DIRECTORY [PACKAGE...]: creates a minimal Debian of that release with these packages. Its
# apt uses the mirror and the proxy settings of this machine.
make_root() {
  local suite="$1" root="$2" mirror include
  shift 2
  [[ -e "/usr/share/debootstrap/scripts/$suite" ]] || fail "debootstrap does not know the release $suite"
  mirror="$(debian_sources "$suite" | awk -v suite="$suite" '$3 == suite { print $2; exit }')"
  [[ -n "$mirror" ]] || fail "apt has no Debian source; run apt-get update"
  include="$(IFS=, && printf '%s' "$*")"
  say "Creating a fresh $suite"
  isolate debootstrap --variant=minbase ${include:+--include="$include"} "$suite" "$root" "$mirror" \
    </dev/null >"$root.log"
  await_isolated || { tail "$root.log" >&2 && fail "debootstrap failed"; }
  rm "$root.log"
  debian_sources "$suite" >"$root/etc/apt/sources.list"
  apt-config dump | grep -E '^Acquire::(https?|Check-|Retries)' >"$root/etc/apt/apt.conf.d/80mirror" ||
    true
  cp /etc/resolv.conf "$root/etc/resolv.conf"
}
