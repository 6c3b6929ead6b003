#!/usr/bin/env bash
# Runs every fuzz target of a `make fuzz` build for a fixed time on its seed
# corpus, the way CI does, and fails when any target finds something. SECONDS
# is one share: fuzz_file, which reaches the whole reader and the composite
# and layer decoders, runs three shares, fuzz_resources (every block class,
# profiles and thumbnails among them) two, the others one.
#
#   fuzz/run-ci.sh [BUILD_DIR] [SECONDS]      (defaults: build-fuzz 30)
#
# New inputs go to a scratch corpus under BUILD_DIR/fuzz-runs/<target>/, the
# seeds stay as they are. A crash, a leak, a timeout (10 s per input) or an
# allocation above 256 MB leaves its input in BUILD_DIR/fuzz-runs/<target>/
# as crash-*, leak-*, timeout-* or oom-*: keep it as a regression input in
# tests/data/corrupt/ under a name that says what it breaks.
set -uo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-fuzz}
seconds=${2:-30}
list="$build/fuzz/targets.txt"
if [ ! -f "$list" ]; then
  echo "run-ci: $list not found: run 'make fuzz' first" >&2
  exit 2
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

status=0
summary=()
while read -r target; do
  [ -n "$target" ] || continue
  binary="$build/fuzz/fuzz_$target"
  work="$build/fuzz-runs/$target"
  seeds="$build/fuzz-seeds/$target"
  rm -rf "$work" && mkdir -p "$work/corpus" "$seeds"
  case $target in file) time=$((seconds * 3)) ;; resources) time=$((seconds * 2)) ;; *) time=$seconds ;; esac
  echo "== fuzz_$target: ${time}s on $(ls "$seeds" | wc -l) seeds"
  "$binary" -max_total_time="$time" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=256 -max_len=65536 \
    -dict=fuzz/psd.dict -print_final_stats=1 -artifact_prefix="$work/" \
    "$work/corpus" "$seeds" > "$work/log.txt" 2>&1
  code=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log.txt" | tail -1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$work/log.txt" | tail -1)
  if [ $code -ne 0 ]; then
    status=1
    echo "fuzz_$target FOUND SOMETHING (exit $code); its input and log are in $work:"
    grep -E 'ERROR|SUMMARY|Test unit written|psdkit fuzz' "$work/log.txt" | head -20
    summary+=("fuzz_$target: FINDING, ${runs:-?} runs, ${speed:-?} exec/s")
  else
    summary+=("fuzz_$target: ok, ${runs:-?} runs, ${speed:-?} exec/s")
  fi
done < "$list"

echo "== fuzz summary"
printf '%s\n' "${summary[@]}"
exit $status
