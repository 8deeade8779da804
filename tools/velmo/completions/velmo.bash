# Completion of velmo for bash.
# Deliberate: names of tasks and classes are data. They never go to compgen -W, which would expand
# them and run the commands in them.

# The commands of velmo, or of one of its commands, and the options of a command. One a line.
_velmo_words() {
  case $1 in
    '') printf '%s\n' submit job queue priorities service doctor --version ;;
    submit)
      printf '%s\n' --class --adjustment --type --job --sub-job --information --relative-priority \
        --child-of --durable --timeout --to --service --modules --dry-run --stdin --failed --json
      ;;
    job) printf '%s\n' --dir --user --name --priority --durable --timeout --json ;;
    queue)
      [ "$COMP_CWORD" -gt 2 ] || printf '%s\n' show cancel
      printf '%s\n' --json --watch --job --sub-job --type --older-than --limit --commands
      ;;
    'queue show' | 'queue cancel' | priorities) printf '%s\n' --json ;;
    service) printf '%s\n' --modules --json ;;
    doctor) printf '%s\n' --json --connect --modules --break-lock ;;
  esac
  echo --help
}

# The values of the field "name" in JSON lines.
_velmo_names() {
  sed -n 's/^{"name":"\([^"\\]*\)".*/\1/p'
}

# Offers the lines of standard input that begin with $1, quoted for the shell.
_velmo_offer() {
  local -a lines
  local line quoted
  mapfile -t lines
  for line in "${lines[@]}"; do
    printf -v quoted %q "$line"
    if [[ $line == "$1"* || $quoted == "$1"* ]]; then
      COMPREPLY+=("$quoted")
    fi
  done
}

# The words in front of the cursor that name a command: "queue show".
_velmo_command() {
  local command=${COMP_WORDS[1]}
  [ "$COMP_CWORD" -gt 1 ] || command=
  if [ "$command" = queue ] && [ "$COMP_CWORD" -gt 2 ]; then
    case ${COMP_WORDS[2]} in
      show | cancel) command="queue ${COMP_WORDS[2]}" ;;
    esac
  fi
  echo "$command"
}

# Whether the command that velmo submit gets begins in front of the cursor.
_velmo_is_in_submitted() {
  local i
  [ "$1" = submit ] || return
  for ((i = 2; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --) return 0 ;;
      -[pdtjsir] | --class | --adjustment | --type | --job | --sub-job | --information | \
        --relative-priority | --child-of | --timeout | --to | --modules | --failed)
        i=$((i + 1))
        # The shell splits "--to=host:80" at each = and :.
        if [ "${COMP_WORDS[i]}" = = ]; then
          i=$((i + 1))
        fi
        while [[ ${COMP_WORDS[i + 1]-} == [:=] ]]; do
          i=$((i + 2))
        done
        # The suffix. The command is behind -- then.
        if [ "${COMP_WORDS[i - 1]}" = --child-of ] && [[ ${COMP_WORDS[i + 1]-} == [!-]* ]]; then
          i=$((i + 1))
        fi
        ;;
      -*) ;;
      *) return 0 ;;
    esac
  done
  return 1
}

# Offers the values of the option $1 that begin with $2.
# Fails if it is not an option with a value.
_velmo_offer_values() {
  case $1 in
    -p | --class | -d | --adjustment)
      _velmo_offer "$2" < <(velmo priorities --json 2>/dev/null | _velmo_names)
      ;;
    -t | --type) _velmo_offer "$2" < <(printf '%s\n' sh java) ;;
    --user) _velmo_offer "$2" < <(compgen -u) ;;
    --modules | --failed) compopt -o default ;;
    --dir) compopt -o dirnames ;;
    -[jsir] | --job | --sub-job | --information | --relative-priority | --child-of | --timeout | \
      --to | --name | --priority | --older-than | --limit) ;;
    *) return 1 ;;
  esac
}

_velmo() {
  local current=${COMP_WORDS[COMP_CWORD]} former=${COMP_WORDS[COMP_CWORD - 1]} command
  command=$(_velmo_command)
  COMPREPLY=()
  if _velmo_is_in_submitted "$command"; then
    compopt -o default
    return
  fi
  # The shell makes three words of "--class=Normal".
  if [ "$current" = = ]; then
    current=
  elif [ "$former" = = ]; then
    former=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  if _velmo_offer_values "$former" "$current"; then
    return
  fi
  case $command/$current in
    'queue show/'[!-]* | 'queue show/' | 'queue cancel/'[!-]* | 'queue cancel/')
      _velmo_offer "$current" < <(velmo queue --json 2>/dev/null | _velmo_names)
      ;;
    submit/[!-]*)
      compopt -o default
      _velmo_offer "$current" < <(compgen -c)
      ;;
    *) _velmo_offer "$current" < <(_velmo_words "$command") ;;
  esac
}

complete -F _velmo velmo
