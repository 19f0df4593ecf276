# shellcheck shell=bash disable=SC2154 # `program` is set by the test that sources this
# Calls a completion function like bash does. A test sources this file after lib.sh and the completion, with
# `program` set, and defines `completion` as the name of the function.

# complete_line WORD...: completes the last word. The result is in COMPREPLY.
complete_line() {
  COMP_WORDS=("$program" "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  "$completion" "$program" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
}

# expect RESULT WORD...: complains unless the last word has this completion.
expect() {
  complete_line "${@:2}"
  [[ "${COMPREPLY[*]}" == "$1" ]] ||
    complain "\"${*:2}\" is completed to \"${COMPREPLY[*]}\", not to \"$1\""
}
