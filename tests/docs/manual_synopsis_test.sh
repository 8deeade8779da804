#!/bin/sh
# Compares the declarations that the manual pages of section 3 show under SYNOPSIS with those of the
# public headers: the same ones, to the letter, blanks and line ends apart. Left out are what no
# caller writes (copies, overridden destructors), and the generated messages.
# usage: manual_synopsis_test.sh PAGES_DIR HEADER...
set -eu
pages=$1
shift
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
trap 'exit 1' HUP INT TERM

# Turns C++ text into sorted lines, each one declaration without blanks.
declarations() {
  sed 's|//.*||; s/^#.*//; s/VELMO_EXPORT//; s/\[\[.*\]\]//; /^ private:/,/^};/c };' |
    tr -d ' \n' | sed 's/[{};]/&\n/g' | sed -E '
      s/^(public|protected)://
      /^[};]$/d; /^namespace/d; /^extern"C"/d; /^using/d
      /^(class|enum)[^{]*;$/d; /=(default|delete);$/d; /^~.*override;$/d' | sort
}

# The text of a page's SYNOPSIS. Functions stand there as macros.
synopsis() {
  awk '
    /^\.Sh / { inside = ($0 == ".Sh SYNOPSIS") }
    inside && /^\.In velmo\/velmo\.pb\.h/ { exit }
    !inside || /^\.(Sh|In|Bd|Ed)/ { next }
    { text = substr($0, 5); gsub(/"/, "", text) }
    /^\.Ft / { print text; next }
    /^\.Fn / { print text "();"; next }
    /^\.Fo / { printf "%s(", text; separator = ""; next }
    /^\.Fa / { printf "%s%s", separator, text; separator = ", "; next }
    /^\.Fc/ { print ");"; next }
    { print }
  ' "$1"
}

cat "$@" | declarations >"$directory/headers"
for page in "$pages"/*.3; do
  [ -L "$page" ] || synopsis "$page"
done | declarations >"$directory/pages"

wc -l <"$directory/headers"
echo 'headers (<), pages (>)'
diff "$directory/headers" "$directory/pages"
