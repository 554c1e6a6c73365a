#!/usr/bin/env bash
# manual_test.sh ACCTL FOLDER: the manual page is well formed and tells of every command and option of --help.
set -euo pipefail
acctl=$1 folder=$2
page=$folder/acctl.1
status=0

complain() {
  echo "manual: $*"
  status=1
}

if ! command -v man >/dev/null; then
  echo "there is no man on this machine"
  exit 77
fi
warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
[[ -z $warnings ]] || complain "$warnings"

text=$(LC_ALL=C.UTF-8 MANWIDTH=200 MAN_KEEP_FORMATTING='' man -E UTF-8 -l "$page" | sed 's/.\x08//g')
[[ $text == *'EXIT STATUS'* ]] || complain "the page comes out without its section on the exit status"

options_of() { # COMMAND...
  "$acctl" "$@" --help | grep -oE '^  -[^ ]*' | grep -oE -- '--[a-z-]+'
}

commands=(status watch 'debug joined' 'debug clients')
for name in $("$acctl" ap --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do commands+=("ap $name"); done
[[ ${#commands[@]} -eq 14 ]] || complain "there are ${#commands[@]} commands: ${commands[*]}"
known=$(options_of)
for command in "${commands[@]}"; do
  grep -qE "^ +$command( |\$)" <<<"$text" || complain "no entry for the command $command"
  # shellcheck disable=SC2086 # the words of a command
  options=$(options_of $command)
  [[ -n $options ]] || complain "no options in the help of $command"
  known+=$'\n'$options
  for option in $options; do
    grep -qE -- "^ +(-h, |--on, )?$option( |,|\$)" <<<"$text" || complain "no entry for $option of $command"
  done
done
# Nothing in the page that the program has not.
mapfile -t told < <(grep -oE -- '(^|[^-a-z])--[a-z][a-z-]*' <<<"$text" | grep -oE -- '--[a-z-]+' | sort -u)
for option in "${told[@]}"; do
  grep -qxF -- "$option" <<<"$known" || complain "$option is in the page and not in the program"
done
[[ $status -ne 0 ]] || echo "the manual page tells of ${#commands[@]} commands and $(sort -u <<<"$known" | wc -l) options"
exit "$status"
