#!/usr/bin/env bash
# What the library costs a device: flash, stack, and work for its loader.
#   footprint.sh LIBRARY OBJECT_FOLDER STRIP READELF
set -euo pipefail
library=$1 objects=$2 strip=$3 readelf=$4

most_bytes=$((128 * 1024))
most_frame=$((12 * 1024))
most_relocations=1100

status=0
limit() {  # what, value, most
  printf '%-24s %6d of %6d\n' "$@"
  [ "$2" -le "$3" ] || { echo "  too much: $1"; status=1; }
}

stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$strip" -o "$stripped" "$library"
limit "bytes of the file" "$(stat -c %s "$stripped")" $most_bytes

# NAME <tab> BYTES <tab> KIND of every function.
frames=$(find "$objects" -name '*.su' -exec cat {} + | sort -t$'\t' -k2,2nr)
[ -n "$frames" ] || { echo "no frames were written down in $objects"; exit 1; }
if grep -P '\tdynamic$' <<<"$frames"; then
  echo "  these frames have no limit"
  status=1
fi
IFS=$'\t' read -r name bytes _ <<<"$frames"
echo "deepest: ${name##*/src/}"
limit "bytes of its frame" "$bytes" $most_frame

# Entries of the relocation tables, and those of the global offset table, which
# MIPS relocates without being told.
relocations=$("$readelf" -rW "$stripped" | grep -c ' R_' || true)
got=$("$readelf" -dW "$stripped" | awk '
  /MIPS_LOCAL_GOTNO/ {local = $NF}
  /MIPS_SYMTABNO/ {symbols = $NF}
  /MIPS_GOTSYM/ {first = $NF}
  END {print local + symbols - first}' FS='[ \t]+')
echo "relocations: $relocations listed, $got of the global offset table"
limit "run-time relocations" $((relocations + got)) $most_relocations
exit $status
