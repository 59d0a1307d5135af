#!/usr/bin/env bash
# Runs the fuzzers of build/fuzz, two at a time.
#   run.sh [TARGET|all] [SECONDS]   fuzz, 600 seconds each; 1 when there is a finding
#   run.sh keep                     put what was found into the corpora, as little of it as covers all
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export LLVM_PROFILE_FILE=/dev/null
programs=build/fuzz/fuzz
work=build/fuzz/work
corpora=fuzz/corpus
all=()
for corpus in "$corpora"/*.txt; do all+=("$(basename "$corpus" .txt)"); done

fuzz_one() {  # TARGET SECONDS
  local target=$1 log=$work/$1.log
  rm -rf "$work/$target" "$work/findings/$target"
  mkdir -p "$work/$target" "$work/findings/$target"
  "$programs/fuzz_corpus" unpack "$corpora/$target.txt" "$work/$target"
  # Leaks are looked for where the corpora are replayed.
  "$programs/fuzz_$target" "$work/$target" -max_total_time="$2" \
    -max_len=16384 -timeout=20 -rss_limit_mb=3000 -detect_leaks=0 -print_final_stats=1 \
    -artifact_prefix="$work/findings/$target/" >"$log" 2>&1 &
  local fuzzer=$!
  tail --pid=$fuzzer -f -n +1 "$log" | grep --line-buffered -E '^#[0-9]+.*(INITED|pulse|DONE)' |
    sed -u "s/^/$target: /" || true
  wait $fuzzer || true
}

summary_of() {  # TARGET
  local log=$work/$1.log last
  last=$(grep -E '^#[0-9]+' "$log" | tail -n 1)
  printf '%-14s %10s %7s %6s %6s %9s\n' "$1" \
    "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)" \
    "$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)" \
    "$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' <<<"$last")" \
    "$(sed -n 's/.*ft: \([0-9]*\).*/\1/p' <<<"$last")" \
    "$(find "$work/findings/$1" -type f ! -name 'slow-unit-*' | wc -l)"
}

# Lines of src/ that everything which was found goes through.
line_coverage() {
  LLVM_PROFILE_FILE=$work/lines.profraw "$programs/fuzz_corpus" replay "$@" >/dev/null || true
  llvm-profdata merge -o "$work/lines.profdata" "$work/lines.profraw"
  llvm-cov report "$programs/fuzz_corpus" -instr-profile="$work/lines.profdata" src |
    awk '/^TOTAL/ { print "lines of src/: " $10 " (" $8 - $9 " of " $8 ")" }'
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

if [ "${1:-}" = keep ]; then keep; exit; fi
targets=("${all[@]}")
[ "${1:-all}" = all ] || targets=("$1")
seconds=${2:-600}
mkdir -p "$work/findings"
export -f fuzz_one
export programs work corpora
printf '%s\n' "${targets[@]}" | xargs -P "${ORBA_FUZZ_AT_ONCE:-2}" -I TARGET bash -c "fuzz_one TARGET $seconds"
{
  printf '%-14s %10s %7s %6s %6s %9s\n' target executions each/s edges feats findings
  for target in "${targets[@]}"; do summary_of "$target"; done
  line_coverage "${targets[@]/#/$work/}"
} | tee build/fuzz/summary.txt
findings=$(for target in "${targets[@]}"; do find "$work/findings/$target" -type f ! -name 'slow-unit-*'; done)
[ -z "$findings" ] || { printf 'finding: %s\n' $findings | tee -a build/fuzz/summary.txt; exit 1; }
