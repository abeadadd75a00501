#!/usr/bin/env bash
# Runs every fuzz target for a bounded time from the seeds make_corpus writes.
# A crash, a leak, a hang (-timeout) or an allocation past -malloc_limit_mb fails the run.
#   fuzz/run.sh <fuzz build folder> [seconds per target]
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
seconds=${2:-15}
corpus=$build/corpus
findings=$build/findings
rm -rf "$corpus" "$findings"
mkdir -p "$findings"
"$build/fuzz/make_corpus" "$corpus"

failed=0
while read -r target; do
  [ -n "$target" ] || continue
  mkdir -p "$corpus/$target"
  log=$findings/$target.log
  if "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=1024 \
       -dict=fuzz/kvmcf.dict -artifact_prefix="$findings/$target-" "$corpus/$target" >"$log" 2>&1; then
    # The last status line: runs, coverage (edges), features, corpus and speed.
    echo "fuzz $target: ok, $(grep -E '^#[0-9]+' "$log" | tail -n 1 | sed -E 's/ +/ /g')"
  else
    echo "fuzz $target: FAILED (log: $log)"
    tail -n 60 "$log"
    failed=1
  fi
done <"$build/fuzz/fuzzers.txt"
exit $failed
