# Completion of acctl for bash: commands, options, their values, and the APs that the controller knows.

_acctl_common='--socket --timeout --json --no-color --help'
_acctl_wait='--wait --no-wait --wait-limit'

# The options of a command, "ap list" and the like.
_acctl_options() {
  case $1 in
    'ap list') echo "--plain --sort $_acctl_common" ;;
    'ap show') echo "--all $_acctl_common" ;;
    'ap rename') echo "$_acctl_wait $_acctl_common" ;;
    'ap channel') echo "--radio --channel --extend --all $_acctl_wait $_acctl_common" ;;
    'ap limit') echo "--ssid --clients --all $_acctl_wait $_acctl_common" ;;
    'ap radio')
      echo "--radio --on --off --power --channel --extend --bandwidth --country --all $_acctl_wait $_acctl_common"
      ;;
    'ap bind')
      echo "--reboot-policy --alarm-policy --password-policy --deploy-policy --qvlan-policy --all" \
        "$_acctl_wait $_acctl_common"
      ;;
    'ap reboot' | 'ap restore') echo "--all --yes --back $_acctl_wait $_acctl_common" ;;
    'ap delete') echo "--all --yes $_acctl_wait $_acctl_common" ;;
    watch) echo "--interval --count --sort $_acctl_common" ;;
    *) echo "$_acctl_common" ;;
  esac
}

# The commands behind what has been typed so far.
_acctl_commands() {
  case $1 in
    '') echo 'status ap debug watch' ;;
    ap) echo 'list show rename channel limit radio bind reboot restore delete' ;;
    debug) echo 'joined clients' ;;
  esac
}

_acctl_takes_value() {
  case $1 in
    --socket | --timeout | --sort | --radio | --channel | --extend | --ssid | --clients | --power | --bandwidth | \
      --country | --reboot-policy | --alarm-policy | --password-policy | --deploy-policy | --qvlan-policy | \
      --wait-limit | --interval | --count) return 0 ;;
  esac
  return 1
}

# MACs and names of the APs, a line each; nothing where no controller answers soon.
_acctl_aps() {
  local program=$1 socket=$2 options=(--timeout 1)
  [[ -z $socket ]] || options+=(--socket "$socket")
  "$program" "${options[@]}" ap list --plain 2>/dev/null | while IFS=$'\t' read -r mac name _; do
    printf '%s\n' "$mac"
    # Two tabs in a row are one to `read`: an AP without a name would show its address here.
    [[ -z $name || $name =~ ^[0-9]+\.[0-9]+\.[0-9]+\.[0-9]+$ ]] || printf '%s\n' "$name"
  done
}

# The words of the line as its user sees them: readline also parts words at colons, and a MAC is full of them.
_acctl_words() {
  local line=${COMP_LINE:0:COMP_POINT} word='' quote='' open='' i c
  words=()
  for ((i = 0; i < ${#line}; i++)); do
    c=${line:i:1}
    if [[ -n $quote ]]; then
      if [[ $c == "$quote" ]]; then quote=''; else word+=$c; fi
    elif [[ $c == '"' || $c == "'" ]]; then
      quote=$c open=yes
    elif [[ $c == \\ ]]; then
      i=$((i + 1))
      word+=${line:i:1} open=yes
    elif [[ $c == [[:space:]] ]]; then
      [[ -z $word && -z $open ]] || words+=("$word")
      word='' open=''
    else
      word+=$c open=yes
    fi
  done
  words+=("$word")
}

# What has been typed of the last word and begins with it, quoted for the shell where it must be.
_acctl_offer() { # CANDIDATE...
  local candidate typed=${words[-1]} head='' quoted
  # Readline replaces only what stands behind the last colon.
  [[ $typed != *:* || $COMP_WORDBREAKS != *:* ]] || head=${typed%:*}:
  for candidate in "$@"; do
    [[ $candidate == "$typed"* ]] || continue
    printf -v quoted '%q' "$candidate"
    [[ ${COMP_WORDS[COMP_CWORD]} != [\'\"]* ]] || quoted=$candidate
    COMPREPLY+=("${quoted#"$head"}")
  done
}

_acctl() {
  local words command='' socket='' previous word i named=0
  COMPREPLY=()
  _acctl_words
  previous=${words[${#words[@]} > 1 ? ${#words[@]} - 2 : 0]}
  for ((i = 1; i < ${#words[@]} - 1; i++)); do
    word=${words[i]}
    if [[ $word == -* ]]; then
      [[ $word != --socket ]] || socket=${words[i + 1]}
      ! _acctl_takes_value "$word" || i=$((i + 1))
    elif [[ -n $(_acctl_commands "$command") ]]; then
      command=${command:+$command }$word
    else
      named=$((named + 1))
    fi
  done
  case $previous in
    --socket)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "${words[-1]}")
      return
      ;;
    --sort) _acctl_offer name mac status clients && return ;;
    --radio) _acctl_offer 2.4 5 && return ;;
  esac
  ! _acctl_takes_value "$previous" || return 0
  if [[ ${words[-1]} == -* ]]; then
    # shellcheck disable=SC2046 # a word for each option
    _acctl_offer $(_acctl_options "$command")
    return
  fi
  local commands
  commands=$(_acctl_commands "$command")
  if [[ -n $commands ]]; then
    # shellcheck disable=SC2086 # a word for each command
    _acctl_offer $commands
    return
  fi
  case $command in
    'ap list') return ;;
    'ap rename') [[ $named -eq 0 ]] || return 0 ;;
    'ap '*) ;;
    *) return ;;
  esac
  local aps
  mapfile -t aps < <(_acctl_aps "${words[0]/#\~\//$HOME/}" "$socket")
  _acctl_offer "${aps[@]}"
}

complete -F _acctl acctl
