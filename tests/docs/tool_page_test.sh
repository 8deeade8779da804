#!/bin/sh
# velmo.1 has what velmo --help has: the commands, and the options of each with their values. So do the
# completions, without the values. The help has at most 80 columns. The exit statuses are the numbers in
# velmo.h. The completion for bash offers values, and never runs what a name contains.
# usage: tool_page_test.sh VELMO PAGE HEADER COMPLETIONS_DIR
set -eu
velmo=$1
page=$2
header=$3
completions=$(cd "$4" && pwd)
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# compare TITLE FILE FILE
compare() {
  sort -u -o "$directory/$2" "$directory/$2"
  sort -u -o "$directory/$3" "$directory/$3"
  if [ ! -s "$directory/$2" ] || ! diff "$directory/$2" "$directory/$3"; then
    echo "$1: in the $2 (<), in the $3 (>)"
    touch "$directory/failed"
  fi
}

# The commands that the help of a command lists.
commands_of() {
  # shellcheck disable=SC2086 # several words
  "$velmo" $1 --help | sed -nE 's/^  ([a-z]+)  .*/\1/p'
}

commands_of '' >"$directory/help"
while read -r command; do
  commands_of "$command" | sed "s/^/$command /"
done <"$directory/help" >"$directory/further"
cat "$directory/further" >>"$directory/help"
sed -n 's/^\.Ss velmo //p' "$page" >"$directory/page"
compare 'commands' help page

while read -r command; do
  # shellcheck disable=SC2086 # several words
  if "$velmo" $command --help | grep -E '.{81}'; then
    echo "help of $command: longer than 80 columns"
    touch "$directory/failed"
  fi
done <"$directory/page"

# options COMMAND: "-p, --class CLASS"
options() {
  # shellcheck disable=SC2086 # several words
  "$velmo" $1 --help | sed -nE 's/^  (-[^ ]+( --[^ ]+)?( [^ ]+)*)(  .*|$)/\1/p' | grep -vxF -e '-h, --help'
}

sed -i '/^$/d' "$directory/page"
while read -r command; do
  options "$command" >"$directory/help" || continue
  awk -v title=".Ss velmo $command" '/^\.S[hs] / { inside = ($0 == title) } inside' "$page" |
    sed -n 's/^\.It Fl /-/p' |
    sed 's/ , Fl /, -/; s/-Fl /--/g; s/ Ar / /g; s/ Op \(.*\)/ [\1]/; s/\[Ar /[/' >"$directory/page"
  compare "options of $command" help page
done <<COMMANDS
$(sed -n 's/^\.Ss velmo //p' "$page")
COMMANDS

# The long options and the commands of each command, as "COMMAND: WORD".
each_command() {
  echo
  sed -n 's/^\.Ss velmo //p' "$page"
}
each_command | while read -r command; do
  # shellcheck disable=SC2086 # several words
  "$velmo" $command --help | grep -oE -e '^  (-[a-z], )?--[a-z-]+' | grep -oE -e '--[a-z-]+' |
    sed "s/^/$command: /"
  commands_of "$command" | sed "s/^/$command: /"
done >"$directory/help"

each_command | while read -r command; do
  # What bash offers behind the words of the command.
  bash -euc '
    . "$1"
    IFS=" " read -r -a COMP_WORDS <<<"velmo $2"
    COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    case $2 in queue?*) COMP_WORDS[COMP_CWORD]=- ;; esac
    _velmo
    printf "%s\n" "${COMPREPLY[@]}"
  ' bash "$completions/velmo.bash" "$command" | sed "s/^/$command: /"
done >"$directory/bash"
compare 'completion for bash' help bash

{
  each_command | sed 's/$/: --help/'
  sed -nE "s/^complete -c velmo -n '__velmo_in ?([a-z ]*)'.* -l ([a-z-]+) .*/\1: --\2/p" \
    "$completions/velmo.fish"
  sed -nE "s/^complete -c velmo -n '__velmo_in ?([a-z ]*)' -a ([a-z]+) .*/\1: \2/p" \
    "$completions/velmo.fish"
} >"$directory/fish"
compare 'completion for fish' help fish

# Each function of a command begins with its name and ends with a brace.
each_command | while read -r command; do
  name=_velmo${command:+_$(echo "$command" | tr ' ' _)}
  awk -v start="$name() {" '$0 == start { inside = 1 } inside; $0 == "}" { inside = 0 }' \
    "$completions/_velmo" |
    grep -oE -e "^ *'[^'[]*" -e '\{-h,--help\}' -e '\{-[a-z],--[a-z-]+\}' -e "[ (][a-z]+\\\\:" -e " '--[a-z-]+" |
    grep -oE -e '--[a-z-]+' -e '[a-z]+\\:' | tr -d '\\:' | sed "s/^/$command: /"
done >"$directory/zsh"
compare 'completion for zsh' help zsh

sed -nE 's/^ *VELMO_[A-Z_]+ = ([0-9]+),.*/\1/p' "$header" | grep -vx 13 >"$directory/header"
sed -n '/^\.Sh EXIT STATUS/,/^\.Sh EXAMPLES/s/^\.It \([0-9]*\)$/\1/p' "$page" >"$directory/page"
compare 'exit statuses' header page

# offers WORDS EXPECTED: what bash offers for the last of the words, with a velmo in whose queue are
# two names. "compopt" reports what the completion sets.
cat >"$directory/velmo" <<'PROGRAM'
#!/bin/sh
case $1 in
  queue) printf '{"name":"%s","priority":50}\n' '0050.J1$(touch${IFS}run)`touch${IFS}run`.sh' '0060.J 2.sh' ;;
  priorities) printf '{"name":"%s","number":50}\n' Normal Night Later ;;
esac
PROGRAM
chmod +x "$directory/velmo"
mkdir "$directory/empty"
offers() {
  offered=$(cd "$directory/empty" && PATH=$directory:$PATH bash -uc '
    . "$1"
    compopt() { echo "compopt $*"; }
    mapfile -t COMP_WORDS <<<"${2// /$'\''\n'\''}"
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _velmo
    printf "%s\n" "${COMPREPLY[@]}"
  ' bash "$completions/velmo.bash" "$1" | tr '\n' ';')
  if [ "$offered" != "$2" ] || [ -n "$(ls "$directory/empty")" ]; then
    echo "completion of \"$1\": \"$offered\" instead of \"$2\", made: $(ls "$directory/empty")"
    touch "$directory/failed"
  fi
}
# shellcheck disable=SC2016 # expands nothing, on purpose
risky='0050.J1\$\(touch\$\{IFS\}run\)\`touch\$\{IFS\}run\`.sh'
offers 'velmo queue show ' "$risky;0060.J\\ 2.sh;"
offers 'velmo queue cancel 005' "$risky;"
offers 'velmo queue cancel 0050.J1\$\(' "$risky;"
offers 'velmo queue cancel *' ';'
offers 'velmo submit -p N' 'Normal;Night;'
offers 'velmo submit --class = N' 'Normal;Night;'
offers 'velmo submit --class =' 'Normal;Night;Later;'
offers 'velmo submit --type ' 'sh;java;'
offers 'velmo queue --job ' ';'
offers 'velmo submit --modules My' 'compopt -o default;;'
offers 'velmo job --dir My' 'compopt -o dirnames;;'
offers 'velmo submit -p Normal cat /etc/pass' 'compopt -o default;;'
offers 'velmo submit --class = Normal -- ' 'compopt -o default;;'
offers 'velmo submit -p Normal --dur' '--durable;'
offers 'velmo submit --to host : 80 --dur' '--durable;'
offers 'velmo submit --to = host : 80 --dur' '--durable;'
offers 'velmo submit --information = a = b --dur' '--durable;'
offers 'velmo submit --child-of 3 x --dur' '--durable;'
offers 'velmo queue --json s' ';'

[ ! -e "$directory/failed" ]
