#!/usr/bin/env bash
# Runs every libFuzzer target for a bounded time on its corpus in
# fuzz/corpus/<name> (the target's name without "fuzz_"), after replaying
# the corpus itself, so that every input kept there, regression inputs of
# crashes found before among them, is run on every call.
#
#   scripts/fuzz.sh <directory of the fuzz_* executables> [seconds each]
#
# New inputs found go to a scratch directory, not into the repository
# (OM_FUZZ_MERGE=1 merges them in); a crash fails the run with the input
# saved under fuzz-crashes/, to be added to the corpus as a regression input
# once fixed.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
bin=${1:?usage: fuzz.sh <bin directory> [seconds]}
seconds=${2:-20}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
crashes=$top/fuzz-crashes
mkdir -p "$crashes"

status=0
for target in "$bin"/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  corpus=$top/fuzz/corpus/${name#fuzz_}
  mkdir -p "$corpus" "$scratch/$name"
  log=$scratch/$name.log
  if ! "$target" -max_total_time="$seconds" -print_final_stats=1 -timeout=10 -rss_limit_mb=4096 \
       -artifact_prefix="$crashes/$name-" "$scratch/$name" "$corpus" >"$log" 2>&1; then
    echo "fuzz: $name FAILED"
    tail -60 "$log"
    status=1
    continue
  fi
  # OM_FUZZ_MERGE=1 keeps what the run found in the repository's corpus.
  if [ "${OM_FUZZ_MERGE:-0}" = 1 ]; then
    "$target" -merge=1 "$corpus" "$scratch/$name" >/dev/null 2>&1 || true
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  echo "fuzz: $name ${runs:-?} executions in ${seconds} s, corpus $(ls "$corpus" | wc -l) inputs"
done
exit $status
