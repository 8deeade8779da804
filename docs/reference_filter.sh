#!/bin/sh
# Fits a Markdown page to Doxygen, which does not name headings as GitHub does, has no page for a file
# of the tree, and drops a percent sign in front of a word: headings get their names, links to such
# files become plain text, and the sign is doubled. It finds plots by their names alone.
# usage: reference_filter.sh PAGE
set -eu
awk '
  /^```/ { inside = !inside }
  !inside && /^##/ {
    name = tolower($0)
    gsub(/^#+ *|[^a-z0-9 _-]/, "", name)
    gsub(/ /, "-", name)
    $0 = $0 " {#" name "}"
  }
  !inside {
    sub(/\]\(performance\//, "](")
    if (/^!\[.*\.svg\)$/) {
      print
      next
    }
    while (match($0, /\[[^]]*\]\([^):#]*\)/)) {
      link = substr($0, RSTART, RLENGTH)
      text = substr(link, 2, index(link, "]") - 2)
      if (link ~ /\.md\)$/) {
        text = "[" text "]\001" substr(link, index(link, "](") + 2)
      }
      $0 = substr($0, 1, RSTART - 1) text substr($0, RSTART + RLENGTH)
    }
    gsub("\001", "(")
    gsub(/`%[A-Za-z]/, "\001&")
    gsub("\001`", "`%")
  }
  { print }
' "$1"
