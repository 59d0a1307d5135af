#!/usr/bin/env bash
# How many instructions the library takes, which repeats where clocks do not.
#   instructions.sh WORK                                 counts for this machine
#   instructions.sh WORK QEMU PLUGIN MIPS_WORK           and for the router's processor
#   instructions.sh --check WORK TABLE                   holds them to what must hold
# Callgrind counts what the library does itself and has the C library do, and
# not what the null device does. The emulator counts everything; of two runs the
# difference is taken.
# To hold: no heap but one block of the survey and one of RoutingInit, a record of a list of 4,096 at most 1.5
# times as dear as one of 64, and no job 5 % dearer than TABLE has it.
set -euo pipefail

check=false
[ "$1" != --check ] || { check=true; shift; }
work=$1 limit=1.5 growth=1.05
if ! command -v valgrind >/dev/null; then
  echo "valgrind is not installed: nothing was counted"
  exit 77
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$work" --list >"$folder/jobs"
valgrind --tool=callgrind --collect-atstart=no --toggle-collect=measured --toggle-collect='sim_*' \
  --zero-before=measured --dump-after=measured --callgrind-out-file="$folder/counts" \
  "$work" >/dev/null 2>"$folder/log" || { cat "$folder/log"; exit 1; }

emulated() {  # name, size, times
  QEMU_LD_PREFIX=/usr/mipsel-linux-gnu "$qemu" -plugin "$plugin" "$mips_work" "$@" 2>&1 >/dev/null |
    sed -n 's/^instructions //p'
}

kind="# $(readelf -p .comment "$work" | sed -n 's/.*GCC: (\(.*\)/gcc (\1/p' | head -n 1), $(
  ldd --version | sed -n '1s/^ldd //p'), $(uname -m)"
{
  echo "$kind"
  printf '%-27s %5s %8s %11s %9s %s\n' '# entry point' size commands allocations x86-64 mips32
  number=0
  while read -r name size commands allocations per; do
    number=$((number + 1))
    count=$(sed -n 's/^totals: //p' "$folder/counts.$number")
    mips=-
    if [ $# -eq 4 ] && ! $check; then
      qemu=$2 plugin=$3 mips_work=$4
      once=$(emulated "$name" "$size" 1)
      mips=$((($(emulated "$name" "$size" 3) - once) / 2))
    fi
    printf '%-27s %5d %8d %11d %9d %s %s\n' "$name" "$size" "$commands" "$allocations" "$count" "$mips" "$per"
  done <"$folder/jobs"
} >"$folder/table"
cat "$folder/table"
$check || exit 0

# Instructions are compared with the table's where compiler and C library are the same.
[ "$(head -n 1 "$2")" = "$kind" ] || echo "the table was made elsewhere: ${kind#\# } is not compared"
awk -v limit=$limit -v growth=$growth -v same="$([ "$(head -n 1 "$2")" = "$kind" ] && echo 1)" '
  function fail(what) { print "FAILED " $1 " " $2 ": " what; failed = 1 }
  /^#/ { next }
  FNR == NR { known[$1, $2] = $5; next }
  { counted++; job[$1]++ }
  # The survey has the driver fill one block, RoutingInit takes its rules apart into one.
  $4 != ($7 == "network" || $1 == "RoutingInit") { fail($4 " allocations") }
  $5 == 0 { fail("nothing was counted") }
  same && !(($1, $2) in known) { fail("is not in the table") }
  same && $5 > growth * known[$1, $2] { fail($5 " instructions, " known[$1, $2] " before") }
  $7 == "record" && $2 == 64 { short[$1] = $5 / 64 }
  $7 == "record" && $2 == 4096 && $5 / 4096 > limit * short[$1] { fail("more than in proportion") }
  $7 == "record" && $3 < $2 { fail("commands are missing") }
  END { if (counted == 0) fail("no jobs"); exit failed }' "$2" "$folder/table"
