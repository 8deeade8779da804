# Completion of velmo for bash.

# The commands of velmo, or of one of its commands, and the options of a command.
_velmo_words() {
  case $1 in
    '') echo submit job queue priorities service doctor --version ;;
    submit)
      echo --class --adjustment --type --job --sub-job --information --relative-priority --child-of \
        --durable --timeout --to --service --modules --dry-run --stdin --failed --json
      ;;
    job) echo --dir --user --name --priority --durable --timeout --json ;;
    queue) echo show cancel --json --watch --job --sub-job --type --older-than --limit --commands ;;
    'queue show' | 'queue cancel' | priorities) echo --json ;;
    service) echo --modules --json ;;
    doctor) echo --json --connect --modules --break-lock ;;
  esac
  echo --help
}

# The values of the field "name" in JSON lines.
_velmo_names() {
  sed -n 's/^{"name":"\([^"\\]*\)".*/\1/p'
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

_velmo() {
  local current=${COMP_WORDS[COMP_CWORD]} former=${COMP_WORDS[COMP_CWORD - 1]} command
  command=$(_velmo_command)
  COMPREPLY=()
  case $former in
    -p | --class | -d | --adjustment)
      mapfile -t COMPREPLY < <(
        compgen -W "$(velmo priorities --json 2>/dev/null | _velmo_names)" -- "$current"
      )
      return
      ;;
    -t | --type)
      mapfile -t COMPREPLY < <(compgen -W 'sh java' -- "$current")
      return
      ;;
    --modules | --failed)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --dir)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
  esac
  case $command/$current in
    'queue show/'[!-]* | 'queue show/' | 'queue cancel/'[!-]* | 'queue cancel/')
      mapfile -t COMPREPLY < <(
        compgen -W "$(velmo queue --json 2>/dev/null | _velmo_names)" -- "$current"
      )
      ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$(_velmo_words "$command")" -- "$current") ;;
  esac
}

complete -o bashdefault -F _velmo velmo
