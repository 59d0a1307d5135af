#!/usr/bin/env bash
# The long forms of the checks, one after the other, in at most an hour: what
# ./dev soak runs once everything is built. docs/reliability.md tells of each.
#   soak.sh [STEP...]   only these
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

most_minutes=60
logs=build/soak
export ORBA_SOAK=1 ORBA_DAMAGED_LISTS=100000 GTEST_BRIEF=1

# The steps, each with the most minutes that it may take. Each is the function of its
# name below, run by this script in a process of its own that is given no functions:
# a program that a step starts may be called what a step is called.
steps=(checkers:2 sanitized:8 valgrind:8 threads:2 store:2 login:4 fuzz:8 judge:14 bench:5 rehearse:8 engines:7 machine:15)

# Deliberate faults are seen, so the rest means something.
step_checkers() {
  ctest --preset release -R '^checkers/' && ctest --preset sanitize -R '^checkers/' &&
    ctest --test-dir build/thread -R '^checkers/'
}

# Every unit test in its long form under AddressSanitizer and UBSan, but for the
# crowds and the stepping through instructions: they are about the code as it ships.
step_sanitized() {
  local program
  for program in build/sanitize/tests/*_tests; do
    echo "== $program"
    "$program" '--gtest_filter=-TwoWriters.*:SharedLogin.*Killed' || return 1
  done
  ctest --preset sanitize -R '^tool/(transcripts|picture|desk|command_line)$'
}

# The ordinary forms: valgrind makes everything far slower.
step_valgrind() { env -u ORBA_SOAK ctest --preset release -C Valgrind -L valgrind -j "$(nproc)"; }

step_threads() { build/thread/tests/nvram_tests --gtest_filter=Threads.*; }

step_store() { build/release/tests/nvram_tests --gtest_filter=TwoWriters.*:PowerCut.*; }

step_login() { build/release/tests/session_tests --gtest_filter=SharedLogin.*Killed; }

step_fuzz() { ./dev fuzz all 60; }

# The model of packets against the kernel, with other routers than the tests have: a hundred
# million packets. Its last line is told.
step_judge() {
  CI=true build/release/tests/judge/packets_judge --first "${ORBA_SOAK_SEED:-1000000}" \
    --configurations 1000000 --packets 60000 --enough 100000000 --jobs "$(nproc)"
}

step_bench() { ./dev bench; }

# A fleet between two defaults, and once more in three shards: the same report.
step_rehearse() {
  local orba=build/release/tools/orba/orba work=$PWD/build/soak/rehearse i
  local change=(--set SPIFWEnabled=1 --default BlockLAND=1)
  rm -rf "$work" && mkdir -p "$work" && bench/fleet.py 100000 "$work/fleet.tar.zst" || return 1
  "$orba" rehearse this this "$work/fleet.tar.zst" "${change[@]}" --out "$work/one"
  [ $? -eq 1 ] || return 1
  for i in 1 2 3; do
    "$orba" rehearse this this "$work/fleet.tar.zst" "${change[@]}" --shard $i/3 --out "$work/$i" || return 1
  done
  "$orba" rehearse merge this this "$work"/[123] "${change[@]}" --out "$work/merged"
  diff -rq --exclude=state.json --exclude=lists "$work/one" "$work/merged"
}

# GNU parallel over ssh, and a Slurm array; skipped where they are missing.
step_engines() {
  tests/rehearse/engines.sh build/release/tools/orba/orba . 800 || [ $? -eq 77 ]
}

# Every question that there is to the booted router, and fifty cuts of its power.
step_machine() { CI=true build/release/tools/orba/orba lab test --machine; }

limited() {  # step, seconds: ends with 124 when the time was not enough
  timeout --kill-after=10 "$2" scripts/soak.sh --step "$1"
}

main() {
  local wanted=" ${*:-} " failed=0 step name left start status word
  mkdir -p "$logs"
  for step in "${steps[@]}"; do
    name=${step%:*}
    [ $# -eq 0 ] || [[ $wanted == *" $name "* ]] || continue
    left=$((most_minutes * 60 - SECONDS))
    [ $((${step#*:} * 60)) -gt "$left" ] || left=$((${step#*:} * 60))
    printf '%-12s ' "$name"
    start=$SECONDS
    if [ "$left" -lt 1 ]; then
      status=124
    else
      limited "$name" "$left" >"$logs/$name.log" 2>&1
      status=$?
    fi
    case $status in
      0) word=ok ;;
      124) word="not done in time" ;;
      *) word="FAILED ($status)" ;;
    esac
    [ "$name" != judge ] || word+=": $(tail -n 1 "$logs/judge.log")"
    printf '%4d s  %s\n' $((SECONDS - start)) "$word"
    [ $status -eq 0 ] && continue
    failed=1
    tail -n 20 "$logs/$name.log" 2>/dev/null | sed 's/^/    /'
  done
  printf '\n%s after %d min %d s; what each step said is in %s/\n' \
    "$([ $failed -eq 0 ] && echo "All well" || echo "NOT WELL")" $((SECONDS / 60)) $((SECONDS % 60)) "$logs"
  return $failed
}

if [ "${1:-}" = --step ]; then "step_$2"; else main "$@"; fi
