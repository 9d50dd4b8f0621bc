#!/bin/sh
# The command-line tools under Wine in a game folder whose name the ANSI code
# page spells only in part: the kit from the folder it is started in, the
# settings tool and the resampler on files there, and the names in what they
# print. Usage: test_other_language.sh WINE glintbook-plugin.exe
#               glintbook-ini.exe glintbook-resample.exe
wine=$1 plugin=$2 ini=$3 resample=$4
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT
name='Spiele Ä Æ é Ω'  # Ω is outside the Western code page
game=$dir/$name
fails=0
fail() { echo "FAIL $1"; fails=$((fails + 1)); }

mkdir -p "$game/Data Files" || exit 1
printf '[Game Files]\r\nGameFile0=Morrowind.esm\r\n' >"$game/Morrowind.ini"
printf 'TES3' >"$game/Data Files/Morrowind.esm"
cp "$plugin" "$ini" "$resample" "$game/"

# Started without arguments, the kit finds its folder by its own file's name.
out=$(timeout 60 "$wine" "$game/glintbook-plugin.exe" </dev/null 2>&1) || fail "kit: status $? ($out)"
[ -f "$game/Data Files/Glintbook.esp" ] || fail "kit: no plug-in written"
case $out in *"$name"*) ;; *) fail "kit: the folder's name is not in its report: $out" ;; esac

"$wine" "$game/glintbook-ini.exe" "$game/Morrowind.ini" set Glintbook Album1Index 7 || fail "ini: set"
[ "$("$wine" "$game/glintbook-ini.exe" "$game/Morrowind.ini" get-int Glintbook Album1Index | tr -d '\r')" = 7 ] \
    || fail "ini: get-int"
out=$("$wine" "$game/glintbook-ini.exe" "$game/no/Morrowind.ini" set A B 1 2>&1)
case $out in *"$name"*) ;; *) fail "ini: the file's name is not in its message: $out" ;; esac

"$wine" "$game/glintbook-resample.exe" "$game/Data Files/Textures/qor_tx_photo_orig.bmp" "$game/Bild é.bmp" 8 8 \
    || fail "resample: status $?"
[ -f "$game/Bild é.bmp" ] || fail "resample: no picture written"

[ "$fails" = 0 ] && echo "all checks in a folder named '$name' passed"
[ "$fails" = 0 ]
