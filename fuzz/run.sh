#!/usr/bin/env bash
# Runs the fuzzers, two at a time, and says what came of it; 1 when there is a finding.
#   run.sh [--fast] [TARGET|all] [HOW MUCH]
#     SECONDS          so long each; 600 when nothing is said
#     --runs N         so many situations each
#     --situations N   so many altogether, shared out as the corpora have inputs
#   run.sh [--fast] keep        put what was found into the corpora, as little of it as covers all
#   run.sh [--fast] unreached   the lines of src/ that no situation of the corpora goes through
# --fast runs the fuzzers of build/fuzz-fast, without sanitizers, not those of build/fuzz.
# Interrupted, it says how far it got.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export LLVM_PROFILE_FILE=/dev/null
# What a finding was is told by playing it again, with whole call stacks.
export ASAN_OPTIONS=malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=64:${ASAN_OPTIONS:-}
build=build/fuzz
[ "${1:-}" != --fast ] || { build=build/fuzz-fast; shift; }
programs=$build/fuzz
work=$build/work
corpora=fuzz/corpus
at_once=${ORBA_FUZZ_AT_ONCE:-2}
all=()
for corpus in "$corpora"/*.txt; do all+=("$(basename "$corpus" .txt)"); done

longest=16384  # bytes of a situation

declare -A fuzzers=() limits=()  # process ids of those that run; options of libFuzzer
unexpected=()
interrupted=false

prepare() {  # TARGET
  rm -rf "${work:?}/$1" "$work/findings/$1"
  mkdir -p "$work/$1" "$work/findings/$1"
  "$programs/fuzz_corpus" unpack "$corpora/$1.txt" "$work/$1"
  : >"$work/$1.log"
}

share_out() {  # SITUATIONS
  local target total=0 inputs=()
  for target in "${targets[@]}"; do
    inputs+=("$(find "$work/$target" -type f | wc -l)")
    total=$((total + inputs[-1]))
  done
  for i in "${!targets[@]}"; do limits[${targets[i]}]=-runs=$((($1 * inputs[i] + total - 1) / total)); done
}

start() {  # TARGET
  # Leaks are looked for where the corpora are replayed.
  "$programs/fuzz_$1" "$work/$1" "${limits[$1]}" \
    -max_len=$longest -timeout=20 -rss_limit_mb=3000 -detect_leaks=0 -print_final_stats=1 \
    -artifact_prefix="$work/findings/$1/" >"$work/$1.log" 2>&1 &
  fuzzers[$1]=$!
}

# Forgets those that have ended. One that found something ends with a failure, and leaves a file.
reap() {
  local target status
  for target in "${!fuzzers[@]}"; do
    ! kill -0 "${fuzzers[$target]}" 2>/dev/null || continue
    status=0
    wait "${fuzzers[$target]}" || status=$?
    unset "fuzzers[$target]"
    [ $status -eq 0 ] || $interrupted || unexpected+=("fuzz_$target ended with $status")
  done
}

findings() { find "${@/#/$work/findings/}" -type f ! -name 'slow-unit-*'; }

# What one that runs says of itself now and then, one that has ended at last.
played() {  # TARGET
  local count
  count=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$1.log" | tail -n 1)
  [ -n "$count" ] || count=$(tail -n 200 "$work/$1.log" | sed -n 's/^played \([0-9]*\) .*/\1/p' | tail -n 1)
  echo "${count:-0}"
}

progress() {
  local target total=0
  for target in "${targets[@]}"; do total=$((total + $(played "$target"))); done
  printf '%4d s  %d situations%s, %d findings; now %s\n' $SECONDS $total \
    "${wanted:+ of $wanted}" "$(findings "${targets[@]}" | wc -l)" "${!fuzzers[*]}"
}

play_all() {
  local waiting=("${targets[@]}") told=0
  trap 'interrupted=true; kill -INT "${fuzzers[@]}" 2>/dev/null || true' INT TERM
  while [ ${#waiting[@]} -gt 0 ] || [ ${#fuzzers[@]} -gt 0 ]; do
    ! $interrupted || waiting=()
    while [ ${#waiting[@]} -gt 0 ] && [ ${#fuzzers[@]} -lt "$at_once" ]; do
      start "${waiting[0]}"
      waiting=("${waiting[@]:1}")
    done
    sleep 0.5 || true
    reap
    [ $((SECONDS - told)) -ge 20 ] || continue
    progress
    told=$SECONDS
  done
  trap - INT TERM
}

# A machine is shared, so it is the processor's time that is told.
summary_of() {  # TARGET
  local log=$work/$1.log last rate
  last=$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)
  rate=$(awk '$1 == "played" && $4 > 0 { rate = $2 / $4 * 1000 } END { printf "%d", rate }' "$log")
  printf '%-14s %10s %12s %6s %6s %9s\n' "$1" "$(played "$1")" "$rate" \
    "$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' <<<"$last")" \
    "$(sed -n 's/.*ft: \([0-9]*\).*/\1/p' <<<"$last")" "$(findings "$1" | wc -l)"
}

summary() {
  local target total=0
  printf '%-14s %10s %12s %6s %6s %9s\n' target situations 'a CPU second' edges feats findings
  for target in "${targets[@]}"; do
    summary_of "$target"
    total=$((total + $(played "$target")))
  done
  printf '%s%d situations%s in %d s; lines of src/ that what was kept goes through: %s\n' \
    "$($interrupted && echo 'INTERRUPTED: ')" $total "${wanted:+ of $wanted}" $SECONDS "$(
      collect_lines "${targets[@]/#/$work/}"
      llvm-cov report "$programs/fuzz_corpus" -instr-profile="$work/lines.profdata" src |
        awk '/^TOTAL/ { print $10 " (" $8 - $9 " of " $8 ")" }')"
}

collect_lines() {  # CORPUS...
  LLVM_PROFILE_FILE=$work/lines.profraw "$programs/fuzz_corpus" replay "$@" >/dev/null || true
  llvm-profdata merge -o "$work/lines.profdata" "$work/lines.profraw"
}

unreached() {
  mkdir -p "$work"
  collect_lines "$corpora"/*.txt
  llvm-cov export -format=lcov "$programs/fuzz_corpus" -instr-profile="$work/lines.profdata" src |
    sed -n "s|^SF:.*/\.\./\.\./||p; s/^DA:\([0-9]*\),0$/\1/p" |
    while read -r word; do
      if [ -f "$word" ]; then file=$word; else echo "$file:$word:$(sed -n "${word}p" "$file")"; fi
    done
}

keep() {
  for target in "${all[@]}"; do
    [ -d "$work/$target" ] || continue
    rm -rf "$work/kept" && mkdir -p "$work/kept"
    "$programs/fuzz_$target" -set_cover_merge=1 -max_len=2048 \
      -detect_leaks=0 "$work/kept" "$work/$target" >"$work/keep.log" 2>&1
    "$programs/fuzz_corpus" pack "$work/kept" "$corpora/$target.txt"
    echo "$target: $(find "$work/kept" -type f | wc -l) inputs, $(stat -c %s "$corpora/$target.txt") bytes"
  done
}

case ${1:-} in
  keep | unreached) "$1"; exit ;;
  '' | [0-9]* | --*) targets=("${all[@]}") ;;
  all) targets=("${all[@]}"); shift ;;
  *) targets=("$1"); shift ;;
esac
mkdir -p "$work/findings"
for target in "${targets[@]}"; do prepare "$target"; done
wanted=
case ${1:-} in
  # Many rather than long: a situation four times as long takes four times the time.
  --runs) longest=2048; for target in "${targets[@]}"; do limits[$target]=-runs=$2; done ;;
  --situations) longest=2048; share_out "$2" ;;
  *) for target in "${targets[@]}"; do limits[$target]=-max_total_time=${1:-600}; done ;;
esac
case ${1:-} in
  --runs) wanted=$(($2 * ${#targets[@]})) ;;
  --situations) wanted=$2 ;;
esac
SECONDS=0
play_all
{
  summary
  findings "${targets[@]}" | sed 's/^/finding: /'
  [ ${#unexpected[@]} -eq 0 ] || printf '%s\n' "${unexpected[@]}"
} | tee "$build/summary.txt"
[ -z "$(findings "${targets[@]}")" ] && [ ${#unexpected[@]} -eq 0 ] || exit 1
! $interrupted || exit 130
