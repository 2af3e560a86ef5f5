#!/bin/sh
# Builds the libFuzzer programs of the file readers (preset fuzz) and runs
# each for the given number of seconds (default 60) on its seed corpus, as
# many side by side as the machine has cores (QZ4_FUZZ_JOBS to change it).
# New inputs go to build/fuzz/found/<name>; a crash stops the run with the
# reader's name and the input's path, to be added under fuzz/regressions/.
set -e
seconds=${1:-60}
jobs=${QZ4_FUZZ_JOBS:-$(nproc 2>/dev/null || echo 1)}
cd "$(dirname "$0")/.."
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# Runs one fuzzer to its time limit; its exit status is the fuzzer's.
fuzz_one() {
  name=${1##*/fuzz_}
  mkdir -p "build/fuzz/found/$name" "build/fuzz/crashes/$name"
  "$1" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/crashes/$name/" \
    "build/fuzz/found/$name" "build/fuzz/fuzz/corpus/$name" >"build/fuzz/$name.log" 2>&1
}

# Waits for the batch in $batch and reports each fuzzer's figures or failure.
finish_batch() {
  for entry in $batch; do
    pid=${entry%%:*}
    name=${entry#*:}
    status=0
    wait "$pid" || status=$?
    echo "== fuzzed $name for $seconds s"
    log="build/fuzz/$name.log"
    if [ "$status" -ne 0 ]; then
      cat "$log"
      echo "fuzzer $name failed; its input is in build/fuzz/crashes/$name/" >&2
      failed=1
    else
      grep -E '^(#[0-9]+ *DONE|stat::number_of_executed_units|stat::average_exec_per_sec|stat::peak_rss)' "$log"
      found=$((found + 1))
    fi
  done
  batch=""
  running=0
}

found=0
failed=0
batch=""
running=0
for fuzzer in build/fuzz/fuzz/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  fuzz_one "$fuzzer" &
  batch="$batch $!:${fuzzer##*/fuzz_}"
  running=$((running + 1))
  [ "$running" -lt "$jobs" ] || finish_batch
  [ "$failed" -eq 0 ] || exit 1
done
finish_batch
[ "$failed" -eq 0 ] || exit 1
echo "fuzzed $found readers"
