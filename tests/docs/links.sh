#!/usr/bin/env bash
# Every link between the documents leads to a file that is there, and to a heading that is there.

set -euo pipefail
cd "$(dirname "$0")/../.."
status=0
links=0

# As the heading's link is written: small letters, digits, "-" and "_".
anchors() {
    awk '/^```/ { code = !code } !code && /^#+ / { sub(/^#+ /, ""); print }' "$1" |
        tr '[:upper:]' '[:lower:]' | sed "s/[^a-z0-9 _-]//g; s/ /-/g"
}

# shellcheck disable=SC2016
# Without what stands in blocks and between backquotes; a link may go over two lines.
while read -r document link; do
    links=$((links + 1))
    file=${link%%#*} anchor=
    [[ $link != *'#'* ]] || anchor=${link#*#}
    target=$document
    [ -z "$file" ] || target=$(dirname "$document")/$file
    if [ ! -e "$target" ]; then
        echo "$document: no such file: $link"
        status=1
    elif [ -n "$anchor" ] && ! grep -qxF -e "$anchor" <(anchors "$target"); then
        echo "$document: no such heading: $link"
        status=1
    fi
done < <(for document in *.md docs/*.md; do
    awk '/^```/ { code = !code; next } !code' "$document" | sed 's/`[^`]*`//g' |
        grep -oE '\]\([^)]+\)' | tr -d '])(' | grep -vE '^(https?|mailto):' | sed "s#^#$document #"
done)

[ "$links" -gt 20 ] || { echo "only $links links found" && status=1; }
exit "$status"
