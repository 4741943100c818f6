#!/usr/bin/env bash
# Tells of relative links in the pages of the tree whose file or heading is not there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# prose PAGE: without blocks and pieces of code.
prose() { awk '/^ *```/ { code = !code; next } !code' "$1"; }

# anchors PAGE: those of its headings, as they are made where the pages are shown.
anchors() {
  prose "$1" | sed -n 's/^##* //p' | tr '[:upper:]' '[:lower:]' |
    sed 's/\[\([^]]*\)\]([^)]*)/\1/g; s/[^[:alnum:] _-]//g; s/ /-/g' |
    awk '{ n = seen[$0]++; print n ? $0 "-" n : $0 }'
}

status=0
while IFS=: read -r page link; do
  file=${link%%#*} anchor=${link#"${link%%#*}"}
  target=$page
  [[ -z $file ]] || target=$(dirname "$page")/$file
  if [[ ! -e $target ]]; then
    echo "$page: there is no $file" >&2
    status=1
  elif [[ -n $anchor ]] && ! grep -qxF -- "${anchor#\#}" <(anchors "$target"); then
    echo "$page: $target has no heading $anchor" >&2
    status=1
  fi
done < <(
  git ls-files --cached --others --exclude-standard '*.md' | while read -r page; do
    prose "$page" | sed 's/`[^`]*`//g' | grep -oE '\]\([^ )]+\)' |
      sed -n "s|^\](\(.*\))\$|$page:\1|p" | grep -vE ':(https?|mailto):' || true
  done
)
exit "$status"
