# shellcheck shell=bash
# What the bundle's scripts ask of ELF files, read with binutils' readelf.
# Sourced; PACKAGING is this folder. SYSTEM_LIBRARIES names the list of what
# is left to the system (the tests hand in others).
PACKAGING=${PACKAGING:-$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)}
SYSTEM_LIBRARIES=${SYSTEM_LIBRARIES:-$PACKAGING/system-libraries}

mapfile -t SYSTEM_PATTERNS < <(sed -e 's/#.*//' -e 's/[[:space:]]*$//' "$SYSTEM_LIBRARIES" | grep -v -e '^$' -e '^version ')

is_elf() { [ -f "$1" ] && [ "$(head -c 4 "$1" | od -An -c | tr -d ' ')" = '177ELF' ]; }

# is_system SONAME: left to the system (a pattern of system-libraries matches)
is_system() {
  local p
  for p in "${SYSTEM_PATTERNS[@]}"; do
    # shellcheck disable=SC2053  # the pattern is meant to glob
    [[ $1 == $p ]] && return 0
  done
  return 1
}

needed() { readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }
run_path() { readelf -d "$1" | sed -n 's/.*(\(RUNPATH\|RPATH\)).*\[\(.*\)\]/\2/p'; }

# The symbol versions an ELF file needs, one per line (GLIBC_2.34, ...).
version_needs() { readelf -V "$1" | sed -n 's/.*Name: \([A-Z]*_[0-9.]*\).*Flags.*/\1/p' | sort -u; }

# The Debian package that holds a file, also under the /usr merge's other name.
owner() {
  local f pkg
  for f in "$1" "$(realpath "$1")" "${1#/usr}" "/usr$1"; do
    pkg=$(dpkg-query -S "$f" 2>/dev/null | sed -n '1s/:.*//p' || true)
    [ -n "$pkg" ] && { echo "$pkg"; return; }
  done
}
