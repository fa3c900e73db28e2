#!/usr/bin/env bash
# docs/architecture.md against the tree: every file, class and function that it names exists, and no
# file includes another folder's but as its tables allow, nor itself by any detour.

set -euo pipefail
cd "$(dirname "$0")/../.."
doc=docs/architecture.md
status=0

complain() {
    echo "$doc: $*"
    status=1
}

folders=(base ops seal inet offload sstp sdwan cfg forward sys tcr ctl)
mapfile -t sources < <(find "${folders[@]}" -name '*.h' -o -name '*.cpp')

# A member function is declared in the header that has its class.
has_function() { # Class::Function
    local header
    header=$(grep -lE "^(class|struct) ([A-Z_]+\(.*\) )?${1%%::*}( : .*)? \{" "${sources[@]}") || return 1
    grep -qE "\b${1##*::}\(" "$header"
}

while read -r name; do
    has_function "$name" || complain "no such function: $name"
done < <(grep -oE '\b[A-Za-z]+::[A-Za-z0-9_]+' "$doc" | sort -u)

# shellcheck disable=SC2016
# The other names in backquotes: paths with a slash, classes and functions of no class.
while read -r name; do
    case $name in
        *::* | *.a) ;;
        */*) [ -e "$name" ] || complain "no such file: $name" ;;
        *) grep -qE "^(class|struct)\b.*\b$name\b|\b$name\(" "${sources[@]}" ||
            complain "no such name: $name" ;;
    esac
done < <(grep -oE '`[^` ]+`' "$doc" | tr -d '\140' | sort -u)

for source in "${sources[@]}"; do
    folder=${source%%/*}
    allowed="$folder/ $(grep -m1 "^| .$folder/. |" "$doc")"
    while read -r included; do
        [[ $allowed == *"${included%%/*}/"* ]] ||
            grep -qE "^\| .$source. \| .$included. \|" "$doc" || complain "$source includes $included"
    done < <(sed -n 's/^#include "\(.*\)"/\1/p' "$source")
done

# An exception that nobody needs any more is to go.
while IFS=' |' read -r source included _; do
    grep -qF "#include \"$included\"" "$source" || complain "$source does not include $included"
done < <(grep -E '^\| [^ ]+\.(h|cpp). \| [^ ]+\.h. \|' "$doc" | tr -d '\140' | sed 's/^| //')

circle=$(grep -o '^#include "[^"]*"' "${sources[@]}" | sed 's/:#include "\(.*\)"/ \1/' | tsort 2>&1 >/dev/null) ||
    complain "files that include each other: $circle"

exit "$status"
