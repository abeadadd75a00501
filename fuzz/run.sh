#!/usr/bin/env bash
# Runs the fuzz targets from the seeds make_corpus writes plus the corpus kept in the
# repository (fuzz/corpus/<target>/). A crash, a leak, a hang (-timeout) or an
# allocation past -malloc_limit_mb fails the run; the input is kept under
# <build>/findings/ (copy it to fuzz/regressions/<target>/ with the fix).
#
#   fuzz/run.sh <fuzz build folder> [seconds per target] [target...]
#       Short runs, one target after another; the kept corpus is only read.
#   fuzz/run.sh --long SECONDS [--whole-file SECONDS] [--jobs N] <fuzz build folder> [target...]
#       Long runs, N targets at a time (default 2). The three whole-file targets that
#       reach every reader (byte open with the exported queries, File::fromBytes, the
#       exports) run first and for their own time if given, so the short ones fill the
#       gaps. Then every input that adds coverage beyond the seeds is merged
#       (-merge=1) back into fuzz/corpus/<target>/, replacing what was kept there. Kept
#       inputs are cut to 4 KiB and each corpus to a budget (48 KiB for whole-file
#       targets, 12 KiB for the others): the merge takes small inputs first, and the
#       largest are dropped until the rest fit, so the repository stays small.
#
# One line per target: runs, edges, features, the working corpus (files/KiB) at the
# start and the end, and in long runs the kept corpus before and after the merge.
set -euo pipefail
cd "$(dirname "$0")/.."

long=0 wholeSeconds="" jobs=1 seconds=15
while [ $# -gt 0 ]; do
  case $1 in
    --long) long=1 jobs=2 seconds=$2; shift 2 ;;
    --whole-file) wholeSeconds=$2; shift 2 ;;
    --jobs) jobs=$2; shift 2 ;;
    *) break ;;
  esac
done
[ $# -ge 1 ] || { sed -n 2,15p "$0" >&2; exit 2; }
build=$1; shift
if [ $long = 0 ] && [ $# -gt 0 ] && [[ $1 =~ ^[0-9]+$ ]]; then seconds=$1; shift; fi
targets=("$@")
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(grep -v '^$' "$build/fuzz/fuzzers.txt")

# Targets that take a whole file; the first three get --whole-file's time.
widest="fuzz_open_bytes fuzz_file_bytes fuzz_export"
whole_file="$widest fuzz_open_path fuzz_diagnosis"
# libFuzzer's limits, the same for running and merging.
limits=(-timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=1024)
keptMaxLen=4096 wholeFileBudget=48 recordBudget=12
if [ -n "$wholeSeconds" ]; then
  # The longest runs first: two cores are then kept busy to the end.
  mapfile -t targets < <(for t in "${targets[@]}"; do
    [[ " $widest " == *" $t "* ]] && echo "0 $t" || echo "1 $t"; done | sort -s -k1,1 | cut -d' ' -f2)
fi

seeds=$build/seeds corpus=$build/corpus findings=$build/findings
rm -rf "$seeds" "$corpus" "$findings"
mkdir -p "$findings"
"$build/fuzz/make_corpus" "$seeds" >/dev/null

# Bytes of the files in a folder.
bytes() {
  find "$1" -type f -printf '%s\n' 2>/dev/null | awk '{ n += $1 } END { print n + 0 }'
}

# "<files> files/<KiB> KiB" of a folder.
size() {
  echo "$(find "$1" -type f 2>/dev/null | wc -l) files/$((($(bytes "$1") + 1023) / 1024)) KiB"
}

# The last status line's "runs edges features".
status() {
  grep -E '^#[0-9]+.*cov:' "$1" | tail -n 1 |
    sed -E 's/^#([0-9]+).*cov: ([0-9]+).*ft: ([0-9]+).*/runs \1, edges \2, features \3/'
}

run_target() {
  local target=$1 time=$2 bin=$build/fuzz/$1 kept=fuzz/corpus/$1
  local work=$corpus/$target log=$findings/$target.log
  mkdir -p "$work"
  [ -d "$seeds/$target" ] && cp "$seeds/$target"/* "$work"/
  [ -d "$kept" ] && cp "$kept"/* "$work"/ 2>/dev/null || true
  local before keptBefore start=$SECONDS
  before=$(size "$work") keptBefore=$(size "$kept")
  if ! nice -n 10 "$bin" -max_total_time="$time" "${limits[@]}" -dict=fuzz/kvmcf.dict \
       -artifact_prefix="$findings/$target-" "$work" >"$log" 2>&1; then
    echo "fuzz $target: FAILED (log: $log)"
    tail -n 60 "$log"
    return 1
  fi
  local line="fuzz $target: ok, $(status "$log"), corpus $before -> $(size "$work"), $((SECONDS - start)) s"
  if [ $long = 1 ]; then
    # Merged over the seeds, so only what they do not already cover is kept.
    local merged=$corpus/$target.merged
    rm -rf "$merged" && mkdir -p "$merged" "$kept"
    [ -d "$seeds/$target" ] && cp "$seeds/$target"/* "$merged"/
    if ! nice -n 10 "$bin" -merge=1 -max_len=$keptMaxLen "${limits[@]}" "$merged" "$kept" "$work" \
         >"$log.merge" 2>&1; then
      echo "fuzz $target: merge FAILED (log: $log.merge)"
      return 1
    fi
    for f in "$seeds/$target"/*; do rm -f "$merged/$(basename "$f")"; done
    local budget=$recordBudget
    [[ " $whole_file " == *" $target "* ]] && budget=$wholeFileBudget
    while [ "$(bytes "$merged")" -gt $((budget * 1024)) ]; do
      rm -f "$(find "$merged" -type f -printf '%s %p\n' | sort -n | tail -n 1 | cut -d' ' -f2-)"
    done
    rm -rf "$kept" && mkdir -p "$kept"
    find "$merged" -type f -exec mv -t "$kept" {} +
    line+=", kept $keptBefore -> $(size "$kept")"
  fi
  echo "$line"
}

failed=0
for target in "${targets[@]}"; do
  time=$seconds
  [ -n "$wholeSeconds" ] && [[ " $widest " == *" $target "* ]] && time=$wholeSeconds
  if [ "$jobs" -le 1 ]; then
    run_target "$target" "$time" || failed=1
  else
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n || failed=1; done
    run_target "$target" "$time" &
  fi
done
while [ "$(jobs -rp | wc -l)" -gt 0 ]; do wait -n || failed=1; done
exit $failed
