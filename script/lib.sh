# shellcheck shell=bash
# What the scripts share; each sources it first. Afterwards the working directory is the project's
# root, wherever the script was called from.

set -euo pipefail

caller="$(basename "$0")"
readonly called_from="$PWD"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
  printf '%s: %s\n' "$caller" "$*" >&2
  exit 1
}

# For the end of what a script understands of its arguments: fails if there is one more.
no_more_arguments() {
  (($# == 0)) || fail "what is $1? --help tells what there is"
}

# The whole path of a file that the caller of the script has named, from where it was called.
path_of_caller() {
  (cd "$called_from" && realpath --canonicalize-missing --no-symlinks -- "$1")
}

# A package as the caller of the script has named it: a file has a path, one of Debian's only a name.
package_of_caller() {
  if [[ "$1" == *.deb ]]; then path_of_caller "$1"; else printf '%s' "$1"; fi
}

# Prints the comment that a script begins with and ends, if its first argument is --help.
help_if_asked() {
  [[ "${1:-}" == --help ]] || return 0
  (cd "$called_from" && sed -n '2,/^$/ s/^# \{0,1\}//p' "$0")
  exit
}

# Says what is about to be done.
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

# Configures build/PRESET where that is missing or older than the presets.
configure() {
  local preset="$1"
  [[ "build/$preset/build.ninja" -nt CMakePresets.json ]] || run cmake --preset "$preset"
}

# Builds PRESET, everything or only the targets that follow.
build() {
  local preset="$1"
  shift
  configure "$preset"
  run cmake --build --preset "$preset" ${1:+--target "$@"}
}

# Runs the tests of PRESET as many at a time as there are processors; the rest goes to ctest.
run_tests() {
  local preset="$1"
  shift
  run ctest --preset "$preset" --parallel "$(nproc)" "$@"
}

# Every file of the project itself whose name matches one of the patterns, NUL-separated.
project_files() {
  local -a names=(-name "$1")
  shift
  local pattern
  for pattern in "$@"; do names+=(-o -name "$pattern"); done
  find . \( -path ./build -o -path ./.git -o -path ./.cache \) -prune -o \
    -type f \( "${names[@]}" \) -print0 | sort -z
}
