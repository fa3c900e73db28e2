#!/usr/bin/env bash
# The units, as the build tree would install them: the service manager finds no fault in them, and
# they expose little of the machine to what they run (10 is everything).

set -euo pipefail
cd "$(dirname "$0")/../.."
build=${LAB_BUILD:-build/release}
units=$(mktemp -d)
trap 'rm -rf "$units"' EXIT
status=0

complain() {
    echo "units: $*"
    status=1
}

# The programs are not where they will be installed; of the template an instance is looked at.
for unit in "$build"/packaging/tamvo*.service; do
    sed "s|^ExecStart=[^ ]*/|ExecStart=$(realpath "$build")/|" "$unit" >"$units/${unit##*/}"
done
cp "$units/tamvo@.service" "$units/tamvo@office.service"

for unit in tamvo tamvo@office tamvo-tcr; do
    # The manual may not be installed on this machine. What is only a warning has status 0.
    faults=$(systemd-analyze --man=no verify "$units/$unit.service" 2>&1) || complain "$unit is refused"
    [ -z "$faults" ] || complain "$unit: $faults"
done

exposes_at_most() { # TENTHS UNIT
    systemd-analyze --no-pager --offline=true --threshold="$1" security "$units/$2.service" >"$units/out" 2>&1 ||
        complain "$2 exposes more than $1 tenths: $(tail -n 1 "$units/out")"
}
exposes_at_most 30 tamvo
exposes_at_most 30 tamvo@
exposes_at_most 20 tamvo-tcr

exit "$status"
