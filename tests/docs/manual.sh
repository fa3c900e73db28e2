#!/usr/bin/env bash
# The manual pages against the code: well-formed, and with every key, option, command, exit status,
# counter and line of the system's log that the programs have, and no other key, option, command,
# status or line.

set -euo pipefail
cd "$(dirname "$0")/../.."
man=docs/man
status=0

complain() {
    echo "$*"
    status=1
}

# Both lists sorted; one that is empty means that the code is no longer read rightly.
same() { # WHAT, FROM THE CODE, FROM THE PAGE
    [ -n "$2" ] || complain "$1: nothing found in the code"
    local difference
    difference=$(diff <(sort <<<"$2") <(sort <<<"$3")) ||
        complain "$1, < in the code, > in the page:"$'\n'"$difference"
}
all_in() { # WHAT, FROM THE CODE, PAGE: each has an item, alone or beside others
    [ -n "$2" ] || complain "$1: nothing found in the code"
    local name
    while read -r name; do
        grep -qF -e "\"$name\"" <(grep '^\.It ' "$3") || complain "$3 lacks $1 \"$name\""
    done <<<"$2"
}

# ---- Form ----

command -v mandoc >/dev/null || complain "no mandoc: scripts/packages test"
# Whether a page is installed here is nothing to complain of.
form=$(mandoc -Tlint "$man"/*.[158] 2>/dev/null | grep -v 'referenced manual not found' || true)
[ -z "$form" ] || complain "$form"
while read -r name section; do
    [ -e "$man/$name.$section" ] || [ "$name" = ifconfig ] || complain "no page $name($section)"
done < <(sed -n 's/^\.Xr \([^ ]*\) \([0-9]\).*/\1 \2/p' "$man"/*.[158] | sort -u)

# ---- Keys ----

# What stands in a page between a heading and the next one.
part() { # PAGE, HEADING
    awk -v title=".Ss $2" '/^\.S[sh] /{ inside = $0 == title } inside' "$1"
}
keys_of_page() { sed -n 's/^\.It Qq \(.*\)/\1/p'; }
constants() { sed -n 's/^constexpr char \(k[A-Za-z0-9]*\)\[\] = "\(.*\)";.*/\1 \2/p' "$1"; }
# The initialiser of an array of cfg/cfg_check.cpp.
array() { awk -v name="$1" 'index($0, " " name "[] = ") { on = 1; sub(/.*=/, "") } on; on && /};/ { exit }' cfg/cfg_check.cpp; }

declare -A key
while read -r constant name; do key[$constant]=$name; done < <(constants cfg/cfg_keys.h)
named() { # the names of the constants in the text
    local constant
    while read -r constant; do echo "${key[${constant#cfg_key::}]}"; done < <(grep -oE 'cfg_key::k[A-Za-z0-9]+')
}
mapfile -t sections < <(array kSections | named)
mapfile -t arrays < <(array kKeysOfSections | grep -oE 'k[A-Za-z]+Keys')
if [ "${#sections[@]}" -eq 0 ] || [ "${#sections[@]}" -ne "${#arrays[@]}" ]; then complain "sections of cfg/cfg_check.cpp"; fi
for i in "${!sections[@]}"; do
    same "keys of section \"${sections[i]}\"" "$(array "${arrays[i]}" | named)" \
        "$(part "$man/tamvo.json.5" "Section \\\\(dq${sections[i]}\\\\(dq" | keys_of_page)"
done
same "sections of an edge's file" "$(printf '%s\n' "${sections[@]}")" \
    "$(sed -n 's/^\.Ss Section .(dq\(.*\).(dq$/\1/p' "$man/tamvo.json.5")"
same "keys of a central router's file" "$(constants tcr/tcr_config.cpp | grep ^kKey | cut -d' ' -f2-)" \
    "$(keys_of_page <"$man/tamvo-tcr.json.5")"

# Each of them says what holds without it.
for page in tamvo.json.5 tamvo-tcr.json.5; do
    silent=$(awk '/^\.(It|El)/ { if (item && !told) print item; item = ""; told = 0 }
        /^\.It Qq/ { item = $0 } tolower($0) ~ /default/ { told = 1 }' "$man/$page")
    [ -z "$silent" ] || complain "$page names no default of $silent"
done

# ---- Options and commands ----

options_of_code() { sed -n "s/^ *{\"\([a-z]*\)\", .*, '\(.\)'},.*/\2 \1/p" "$1"; }
options_of_page() { sed -n 's/^\.It Fl \(.\).*, Fl -\([a-z]*\).*/\1 \2/p' "$1"; }
same "options of tamvo" "$(options_of_code sys/command_option.cpp)" "$(options_of_page "$man/tamvo.8")"
same "options of tamvo-tcr" "$(options_of_code tcr/tcr_option.cpp)" "$(options_of_page "$man/tamvo-tcr.8")"
# Two of them may stand on a line.
same "options of tamvoctl" "$(sed "s/'}, *{/'},\n{/g" ctl/ctl_option.cpp | options_of_code /dev/stdin)" \
    "$(options_of_page "$man/tamvoctl.1")"
same "commands of tamvoctl" \
    "$(grep -oE '\{"[a-z]+", ("[a-z]+"|nullptr), [0-9]' ctl/command.cpp | tr -d '{",0-9' | sed 's/nullptr//; s/ *$//')" \
    "$(sed -n 's/^\.It Cm \([a-z ]*[a-z]\).*/\1/p' "$man/tamvoctl.1")"

# ---- Exit statuses and environment ----

statuses_of_page() { awk '/^\.S[sh] /{ inside = $0 == ".Sh EXIT STATUS" } inside' "$1" | grep -oE '\b[0-9]\b' | sort -u; }
statuses() { # FILE, and what stands before the number there
    grep -oE "($2)[0-9]+;" "$1" | grep -oE '[0-9]+;' | tr -d ';' | sort -u
}
# Of the edge's end: "return told ? 0 : 1;" and "return 0;".
same "exit statuses of tamvo" \
    "$(sed -n '/^int CTsdwSys::MainLoop/,/^}/s/.*return \(.*\);/\1/p' sys/tsdw_sys.cpp | grep -oE '\b[0-9]+\b' | sort -u)" \
    "$(statuses_of_page "$man/tamvo.8")"
same "exit statuses of tamvo-tcr" "$(statuses tcr/main.cpp 'return |kExit[A-Za-z]+ = ')" \
    "$(statuses_of_page "$man/tamvo-tcr.8")"
same "exit statuses of tamvoctl" "$(statuses ctl/command.h 'kCtl[A-Za-z]+ = ')" \
    "$(statuses_of_page "$man/tamvoctl.1")"
same "environment of tamvoctl" \
    "$(grep -ohE 'getenv\("[A-Z_]+"|kRuntimeVariable\[\] = "[A-Z_]+"' ctl/*.cpp ops/*.cpp | cut -d'"' -f2)" \
    "$(sed -n 's/^\.It Ev //p' "$man/tamvoctl.1")"

# ---- What the programs tell ----

# The lines of the system's log. Some are handed on before they are told; what became of a subnet is
# put together.
told='(CTEventLevel::k[A-Za-z]+, |TellJoined\(|TellNotJoined\(|event = |Fail\(fault, |lost \? )"[a-z ]+"( : "[a-z ]+")?'
events_of_code() { # SOURCE...
    cat "$@" | tr -s '\n ' ' ' | sed 's/PrintSubnet([a-z]*, [a-z]*, "/event = "subnet /g' | grep -oE "$told" |
        grep -oE '"[a-z ]+"' | tr -d '"' | grep -v '^cannot be' | sort -u
}
events_of_page() {
    awk '/^\.S[sh] /{ inside = $0 == ".Ss The system'"'"'s log" } inside' "$1" |
        sed -n 's/^\.It //p' | grep -oE '"[^"]+"' | tr -d '"'
}
same "log of tamvo" "$(events_of_code sys/*.cpp forward/*.cpp cfg/*.cpp base/pvu_watchdog.cpp)" \
    "$(events_of_page "$man/tamvo.8")"
same "log of tamvo-tcr" "$(events_of_code tcr/*.cpp)" "$(events_of_page "$man/tamvo-tcr.8")"
all_in counter "$(grep -ohE '(Add(Queue)?\(text, |text\.Append\()"[a-z][^":]+' sys/tsdw_sys_status.cpp |
    sed 's/.*"//; s/^dropped, //')" "$man/tamvo.8"
all_in counter "$(grep -oE '\{"[a-z ]+", counters\.' tcr/snapshot_json.cpp | cut -d'"' -f2)" "$man/tamvo-tcr.8"

exit "$status"
