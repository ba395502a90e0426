#!/usr/bin/env bash
# Runs the libFuzzer programs of a fuzzing build (make fuzz).
#
#   run-fuzzers.sh --check                  exit status 0 when clang-14 and libFuzzer are installed
#   run-fuzzers.sh BUILD SECONDS [TARGET..] each target (default: every fuzz_<target> program in BUILD) for
#                                           SECONDS, one after the other
#
# Seeds are made afresh (fuzz_seeds, from phantoms and the shared sample when present); what a run finds
# stays in BUILD/fuzz-corpus/<target>, so later runs start from it. Crashing inputs go to
# BUILD/fuzz-crashes/<target>/. Every run appends a line to BUILD/fuzz-runs.tsv (date, target, seconds,
# executions, edges covered, features, corpus size, outcome). Fails when a target crashed.
set -euo pipefail

fuzzer_runtime() {
  local dir
  dir=$(clang++-14 -print-runtime-dir 2>/dev/null) || return 1
  [ -f "$dir/libclang_rt.fuzzer-x86_64.a" ] || [ -f "$dir/libclang_rt.fuzzer.a" ]
}

if [ "${1:-}" = "--check" ]; then
  command -v clang++-14 >/dev/null 2>&1 && fuzzer_runtime
  exit
fi

build=${1:?usage: run-fuzzers.sh BUILD SECONDS [TARGET...]}
seconds=${2:?usage: run-fuzzers.sh BUILD SECONDS [TARGET...]}
shift 2
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in "$build"/tests/fuzz/fuzz_*; do
    name=${program##*/fuzz_}
    [ "$name" != seeds ] && [ -x "$program" ] && targets+=("$name")
  done
fi

# The readers' target writes its input to a scratch file for every run: in memory where possible. The
# seeds go there too, so that runs in parallel do not share them.
scratch_root=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch_root=/dev/shm
scratch=$(mktemp -d "$scratch_root/velin-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
here=$(cd "$(dirname "$0")" && pwd)
shared_sample="$here/../../../shared/data/vol/onh.vol"
seeds="$scratch/seeds"
"$build/tests/fuzz/fuzz_seeds" "$seeds" "$shared_sample"

max_len() {
  case "$1" in
    read_*) echo 16384 ;;
    entry) echo 4096 ;;
    *) echo 512 ;;
  esac
}

# Short allocation stacks: recording them is most of the cost of the allocation-heavy targets. Rerun a
# crashing input alone for the full report.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0:malloc_context_size=2}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
failed=()
printf '%-10s %12s %8s %8s %8s  %s\n' target executions edges features corpus outcome
for target in "${targets[@]}"; do
  program="$build/tests/fuzz/fuzz_$target"
  corpus="$build/fuzz-corpus/$target"
  crashes="$build/fuzz-crashes/$target"
  mkdir -p "$corpus" "$crashes"
  log="$build/fuzz-$target.log"
  status=0
  TMPDIR="$scratch" nice -n 19 "$program" -max_total_time="$seconds" -max_len="$(max_len "$target")" \
    -timeout=60 -rss_limit_mb=3072 -print_final_stats=1 -artifact_prefix="$crashes/" \
    "$corpus" "$seeds/$target" >"$log" 2>&1 || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  coverage=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1)
  edges=$(echo "$coverage" | awk '{print $2}')
  features=$(echo "$coverage" | awk '{print $4}')
  entries=$(find "$corpus" -type f | wc -l)
  outcome=clean
  if grep -q 'libFuzzer: run interrupted' "$log"; then
    # Stopped by a signal (Ctrl-C, kill): what ran before is clean.
    outcome=interrupted
  elif [ "$status" -ne 0 ]; then
    outcome="crash (see $log)"
    failed+=("$target")
  fi
  printf '%-10s %12s %8s %8s %8s  %s\n' "$target" "${executions:-?}" "${edges:-?}" "${features:-?}" "$entries" "$outcome"
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$(date -u +%Y-%m-%dT%H:%M:%SZ)" "$target" "$seconds" \
    "${executions:-0}" "${edges:-0}" "${features:-0}" "$entries" "$outcome" >>"$build/fuzz-runs.tsv"
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "velin: fuzzing found crashes in: ${failed[*]}" >&2
  exit 1
fi
