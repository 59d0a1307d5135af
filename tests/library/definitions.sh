#!/usr/bin/env bash
# No object of a test program defines a name of the library. The linker refuses a second
# function, but not one of a class that a test writes whole: that one takes the library's place.
#   definitions.sh NM ARCHIVE OBJECT...
set -euo pipefail
nm=$1 archive=$2
shift 2

defined() {  # kinds, file
  "$nm" --defined-only "$2" 2>/dev/null | awk -v kinds="[$1]" '$2 ~ kinds {print $3}' | sort -u
}

own=$(defined TDBR "$archive")
[ "$(wc -l <<<"$own")" -gt 300 ] || { echo "$archive has hardly a name"; exit 1; }
status=0
for object in "$@"; do
  twice=$(defined TDBRWVu "$object" | comm -12 - <(echo "$own"))
  [ -z "$twice" ] || { printf '%s defines what the library does:\n%s\n' "$object" "$twice"; status=1; }
done
exit $status
