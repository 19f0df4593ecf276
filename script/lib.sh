# shellcheck shell=bash
# Common functions. Each script sources this file first, which changes to the project's root.

set -euo pipefail

caller="$(basename "$0")"
readonly called_from="$PWD"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
  printf '%s: %s\n' "$caller" "$*" >&2
  exit 1
}

# Fails if there are arguments.
no_more_arguments() {
  (($# == 0)) || fail "unknown argument: $1; see --help"
}

# Prints the absolute path of a file argument, relative to the directory of the call.
path_of_caller() {
  (cd "$called_from" && realpath --canonicalize-missing --no-symlinks -- "$1")
}

# Prints a package argument: a file with its absolute path, or the name of a Debian package.
package_of_caller() {
  if [[ "$1" == *.deb ]]; then path_of_caller "$1"; else printf '%s' "$1"; fi
}

# If the first argument is --help, prints the comment at the top of the script and exits.
help_if_asked() {
  [[ "${1:-}" == --help ]] || return 0
  (cd "$called_from" && sed -n '2,/^$/ s/^# \{0,1\}//p' "$0")
  exit
}

# Lets the EXIT trap run when a signal ends the script.
exit_on_signals() {
  trap 'exit 130' INT
  trap 'exit 143' TERM
  trap 'exit 129' HUP
}

# Prints the version of the Debian packages.
package_version() {
  dpkg-parsechangelog -l packaging/debian/changelog -S Version
}

# Prints the commands of the README that configure a stock access point.
documented_configuration() {
  sed -nE '/^## Install/,/^## [^I]/s/^    ((printf|echo|systemctl restart) .*)$/\1/p' README.md
}

# Prints the next step.
say() {
  printf '== %s\n' "$*"
}

# Runs a command after printing it.
run() {
  printf '+'
  printf ' %q' "$@"
  printf '\n'
  "$@"
}

# Configures build/PRESET if it is missing or older than the presets.
configure() {
  local preset="$1"
  [[ "build/$preset/build.ninja" -nt CMakePresets.json ]] || run cmake --preset "$preset"
}

# build PRESET [TARGET...]: builds these targets, or everything.
build() {
  local preset="$1"
  shift
  configure "$preset"
  run cmake --build --preset "$preset" ${1:+--target "$@"}
}

# Prints the number of tests to run at a time: three for each processor, since many of them wait, and one
# more, so that short tests run beside the virtual machines. Each machine counts as two tests.
test_jobs() {
  printf '%s' $((3 * $(nproc) + 1))
}

# run_tests PRESET [CTEST-ARGUMENT...]
run_tests() {
  local preset="$1"
  shift
  run ctest --preset "$preset" --parallel "$(test_jobs)" "$@"
}

# Prints the files of the project that match one of the patterns, NUL-separated.
project_files() {
  local -a names=(-name "$1")
  shift
  local pattern
  for pattern in "$@"; do names+=(-o -name "$pattern"); done
  find . \( -path ./build -o -path ./.git -o -path ./.cache \) -prune -o \
    -type f \( "${names[@]}" \) -print0 | sort -z
}
