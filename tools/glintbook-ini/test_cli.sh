#!/bin/sh
# glintbook-ini on a temporary file: set, get-int, get-string, bytes passed
# through, and usage errors. Usage: test_cli.sh PATH-TO-glintbook-ini
tool=$1
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT
ini=$dir/Morrowind.ini
fails=0

check() {  # check NAME EXPECTED ACTUAL
    if [ "$2" != "$3" ]; then echo "FAIL $1: expected [$2], got [$3]"; fails=$((fails + 1)); fi
}
status() {  # status NAME EXPECTED-EXIT COMMAND...
    name=$1 want=$2; shift 2
    "$@" >/dev/null 2>"$dir/err"; got=$?
    check "$name exit" "$want" "$got"
    if [ "$want" = 2 ] && ! grep -q '^usage: glintbook-ini' "$dir/err"; then
        echo "FAIL $name: no usage message"; fails=$((fails + 1))
    fi
}

"$tool" "$ini" set Glintbook Album1Index 24 || { echo "FAIL set"; fails=$((fails + 1)); }
check "new file" "$(printf '[Glintbook]\r\nAlbum1Index=24\r')" "$(cat "$ini")"
check "get-int" 24 "$("$tool" "$ini" get-int glintbook album1index)"
check "get-int default" -7 "$("$tool" "$ini" get-int Glintbook Album2Index -7)"
"$tool" "$ini" set Glintbook Album2Index -3
check "negative" -3 "$("$tool" "$ini" get-int Glintbook Album2Index)"
check "get-string" 24 "$("$tool" "$ini" get-string Glintbook Album1Index)"
check "get-string default" none "$("$tool" "$ini" get-string Glintbook Nope none)"
check "get-string size" 2 "$("$tool" "$ini" get-string Glintbook Album1Index '' 2)"
long=$(printf '%0300d' 0)
"$tool" "$ini" set General "Screen Shot Base Name" "$long"
check "255 cut" 255 "$("$tool" "$ini" get-string General "Screen Shot Base Name" | tr -d '\n' | wc -c)"
name=$(printf 'Caf\351')
"$tool" "$ini" set "$name" "$name" "$name"
check "bytes" "$name" "$("$tool" "$ini" get-string "$name" "$name")"

before=$(cksum <"$ini")
status "no arguments" 2 "$tool"
status "unknown request" 2 "$tool" "$ini" frobnicate A B
status "get-int arguments" 2 "$tool" "$ini" get-int A
status "bad DEFAULT" 2 "$tool" "$ini" get-int A B 12x
status "DEFAULT too big" 2 "$tool" "$ini" get-int A B 2147483648
status "bad SIZE" 2 "$tool" "$ini" get-string A B d 0
status "SIZE not a number" 2 "$tool" "$ini" get-string A B d many
status "set arguments" 2 "$tool" "$ini" set A B
check "usage errors change nothing" "$before" "$(cksum <"$ini")"
status "unwritable" 1 "$tool" "$dir/no/such/folder.ini" set A B 1

[ "$fails" = 0 ] && echo "all glintbook-ini checks passed"
[ "$fails" = 0 ]
