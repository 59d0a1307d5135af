#!/usr/bin/env bash
# How the files are made that are built and installed: where each looks for its
# libraries, and what stands in the way of whoever finds a fault in it.
#   hardening.sh BUILD_FOLDER WORK_FOLDER NM [PROTECTION...]   fortified, sealed
set -euo pipefail
build=$1 work=$2 nm=$3 protections=" ${*:4} "
rm -rf "$work"
DESTDIR=$work cmake --install "$build" >/dev/null

status=0 built=0 installed=0
wrong() { echo "${file#"$build/"}: $*"; status=1; }
programs() {  # FOLDER: its programs and shared libraries, but for what other tests build
  find "$1" -path "$1/tests/*/*" -prune -o -type f \( -perm -u+x -o -name '*.so*' \) ! -name '*.o' -exec sh -c '
    for file; do [ "$(head -c 4 "$file" | tail -c 3)" != ELF ] || echo "$file"; done' sh {} +
}

# An entry that is empty, or begins anywhere but at the root or at the file
# itself, is the folder that the user happens to be in.
while read -r file; do
  built=$((built + 1))
  path=$(readelf -dW "$file" | sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\]/\2/p')
  [ -n "$path" ] || continue
  while IFS= read -r entry; do
    [[ $entry =~ ^(/|\$ORIGIN) ]] || wrong "looks for libraries in '$entry' ($path)"
  done <<<"${path//:/$'\n'}"
done < <(programs "$build"; programs "$work")

while read -r file; do
  installed=$((installed + 1))
  headers=$(readelf -hldW "$file") names=$("$nm" "$file" 2>/dev/null; "$nm" -D "$file")
  expect() { grep -qE -- "$1" <<<"$2" || wrong "$3"; }
  expect 'Type: +DYN' "$headers" 'has a fixed address'
  expect 'GNU_STACK .* RW ' "$headers" 'has a stack that can be run'
  expect 'BIND_NOW|FLAGS_1.* NOW' "$headers" 'looks names up late'
  expect ' __stack_chk_fail' "$names" 'does not protect its stack'
  ! grep -q NEEDED.*ssp <<<"$headers" || wrong 'needs a library for it'
  [[ $protections != *' sealed '* ]] || expect GNU_RELRO "$headers" 'leaves its tables open'
  [[ $protections != *' fortified '* ]] || expect ' __[a-z_]+_chk(@|$)' "$names" 'is not fortified'
done < <(programs "$work")
# A fortified call must be the simulated device's as the ordinary one is.
calls=$(awk '/^[^#]/ {print $1}' "$(dirname "$0")/../../sim/calls.txt")
file=sim/liborba_renamed.a
[ ! -e "$build/$file" ] || while read -r name; do
  plain=${name#__}
  plain=${plain%_*}
  ! grep -qxF "$plain" <<<"$calls" || wrong "$name goes past the simulated device: sim/calls.txt"
done < <("$nm" -u "$build/$file" | grep -oE '__[a-z_]+_(chk|2)$' | sort -u)

[ "$installed" -gt 0 ] || wrong "installs nothing"
echo "$built files built or installed, $installed installed"
exit $status
