#!/usr/bin/env bash
# scripts/package in two clones, in different folders, on different days and with different masks of
# rights: the packages are the same bytes, and no program tells where it was built. Takes a few
# minutes: scripts/package --test calls it.

set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

fail() {
    echo "FAILED: $*"
    exit 1
}

build_in() { # FOLDER DAYS MASK
    git clone -q "$root" "$1"
    # What is not committed yet belongs to it.
    git -C "$root" diff HEAD --binary | git -C "$1" apply --allow-empty
    git -C "$root" ls-files -z --others --exclude-standard | tar -C "$root" --null -T - -c | tar -C "$1" -x
    # A cache of compiled files would only show what an earlier build gave.
    (umask "$3" && CCACHE_DISABLE=1 faketime -f "+$2d" "$1/scripts/package") >"$1.log" 2>&1 ||
        { tail -n 20 "$1.log" && fail "scripts/package in $1"; }
}
build_in "$dir/here" 3 022
build_in "$dir/some/where/else" 40 077

(cd "$dir/here/build/package" && sha256sum ./*.deb) >"$dir/sums"
[ "$(wc -l <"$dir/sums")" -eq 2 ] || fail "not two packages: $(cat "$dir/sums")"
cat "$dir/sums"
(cd "$dir/some/where/else/build/package" && sha256sum --quiet -c "$dir/sums") ||
    fail "the same sources gave other packages"

for package in "$dir"/here/build/package/*.deb; do
    dpkg-deb -x "$package" "$dir/content"
done
if grep -rlaF "$dir" "$dir/content"; then fail "these tell where they were built"; fi
