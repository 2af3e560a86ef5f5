#!/bin/sh
# Builds the libFuzzer programs of the file readers (preset fuzz) and runs
# each for the given number of seconds (default 60) on its seed corpus.
# New inputs go to build/fuzz/found/<name>; a crash stops the run with the
# reader's name and the input's path, to be added under fuzz/regressions/.
set -e
seconds=${1:-60}
cd "$(dirname "$0")/.."
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
found=0
for fuzzer in build/fuzz/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=${fuzzer##*/fuzz_}
  mkdir -p "build/fuzz/found/$name" "build/fuzz/crashes/$name"
  echo "== fuzzing $name for $seconds s"
  log="build/fuzz/$name.log"
  status=0
  "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/crashes/$name/" \
    "build/fuzz/found/$name" "build/fuzz/fuzz/corpus/$name" >"$log" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    cat "$log"
    echo "fuzzer $name failed; its input is in build/fuzz/crashes/$name/" >&2
    exit 1
  fi
  grep -E '^(#[0-9]+ *DONE|stat::number_of_executed_units|stat::average_exec_per_sec|stat::peak_rss)' "$log"
  found=$((found + 1))
done
echo "fuzzed $found readers"
