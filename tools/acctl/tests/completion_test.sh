#!/usr/bin/env bash
# completion_test.sh ACCTL FOLDER: the completion offers the program's own commands and options, and the APs' names.
set -euo pipefail
acctl=$1 folder=$2
status=0 checks=0
# shellcheck source=tools/acctl/acctl.bash
source "$folder/acctl.bash"

box=$(mktemp -d)
trap 'rm -rf -- "$box"' EXIT
# A controller with four APs, asked at one socket only.
cat >"$box/acctl" <<'PROGRAM'
#!/usr/bin/env bash
[[ $* == '--timeout 1 ap list --plain' || $* == '--timeout 1 --socket /x ap list --plain' ]] || exit 3
printf '%s\t%s\t192.0.2.1\tonline\t0\t0\tp\tv\n' 02:a9:51:00:00:10 lobby 02:a9:51:00:00:20 'Lobby north' \
  02:a9:52:00:00:30 roof 02:a9:52:00:00:40 ''
PROGRAM
chmod +x "$box/acctl"
PATH=$box:$PATH

# What is offered behind a line, its words parted as readline does it: at blanks and colons that are not quoted.
offered() { # LINE
  COMP_LINE=$1 COMP_POINT=${#1} COMPREPLY=()
  COMP_WORDS=()
  local word='' quoted='' i c
  for ((i = 0; i < ${#1}; i++)); do
    c=${1:i:1}
    [[ $c != \' ]] || quoted=${quoted:-yes}
    case $quoted$c in
      \\)
        word+=${1:i:2}
        i=$((i + 1))
        ;;
      ' ')
        [[ -z $word ]] || COMP_WORDS+=("$word")
        word=''
        ;;
      :)
        [[ -z $word ]] || COMP_WORDS+=("$word")
        COMP_WORDS+=(:)
        word=''
        ;;
      *) word+=$c ;;
    esac
  done
  COMP_WORDS+=("$word")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _acctl acctl
  printf '%s\n' "${COMPREPLY[@]}"
}

expect() { # LINE WORD...
  local line=$1 got want
  shift
  checks=$((checks + 1))
  got=$(offered "$line")
  want=$(printf '%s\n' "$@")
  if [[ "$(sort <<<"$got")" != "$(sort <<<"$want")" ]]; then
    echo "completion: behind \"$line\": ${got//$'\n'/ | }"
    echo "  instead of ${want//$'\n'/ | }"
    status=1
  fi
}

options_of() { # COMMAND...
  "$acctl" "$@" --help | grep -oE '^  -[^ ]*' | grep -oE -- '--[a-z-]+'
}

mapfile -t top < <("$acctl" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
mapfile -t of_ap < <("$acctl" ap --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
expect 'acctl ' "${top[@]}"
expect 'acctl ap ' "${of_ap[@]}"
expect 'acctl --json ap re' rename reboot restore
expect 'acctl debug ' joined clients
expect 'acctl st' status
expect 'acctl status ' ''
# Every option of every command; those of the program stand in its own help and hold behind each command.
mapfile -t common < <(options_of | grep -vx -- --help)
for command in status watch 'debug joined' 'debug clients' "${of_ap[@]/#/ap }"; do
  # shellcheck disable=SC2086 # the words of a command
  mapfile -t own < <(options_of $command)
  expect "acctl $command -" "${own[@]}" "${common[@]}"
done

all=(02:a9:51:00:00:10 lobby 02:a9:51:00:00:20 'Lobby\ north' 02:a9:52:00:00:30 roof 02:a9:52:00:00:40)
expect 'acctl ap show ' "${all[@]}"
expect 'acctl ap show lobby ' "${all[@]}"
expect 'acctl --socket /x ap show l' lobby
expect 'acctl --socket /y ap show l' ''
expect 'acctl ap reboot ro' roof
expect 'acctl ap channel --channel 6 L' 'Lobby\ north'
expect 'acctl ap show Lobby\ n' 'Lobby\ north'
expect "acctl ap show 'Lobby n" 'Lobby north'
expect 'acctl ap show 02:a9:52:' 00:00:30 00:00:40
expect 'acctl ap show 02:a9:51:00:00:1' 10
COMP_WORDBREAKS=${COMP_WORDBREAKS//:/}
expect 'acctl ap show 02:a9:52:' 02:a9:52:00:00:30 02:a9:52:00:00:40
COMP_WORDBREAKS+=:
expect 'acctl ap rename lo' lobby
expect 'acctl ap rename lobby ' ''
expect 'acctl ap list ' ''
expect 'acctl ap list --sort ' name mac status clients
expect 'acctl ap radio lobby --radio ' 2.4 5
expect 'acctl ap radio lobby --power ' ''
touch "$box/file1" "$box/file2"
expect "acctl --socket $box/fi" "$box/file1" "$box/file2"

# It stands in for the program as soon as it is sourced.
complete -p acctl | grep -qx 'complete -F _acctl acctl' || {
  echo "completion: not registered for acctl"
  status=1
}
[[ $status -ne 0 ]] || echo "$checks completions are as they should be"
exit "$status"
