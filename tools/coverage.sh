#!/usr/bin/env bash
# Line and branch coverage of the library's folders by the whole test suite.
#   tools/coverage.sh [build folder]      (default: build-coverage)
# Builds with --coverage in its own folder, runs ctest, then prints the totals and
# every library file below 90% of lines. Installs gcovr from Debian if missing.
# JOBS sets the build and test parallelism (default 2).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-coverage}
jobs=${JOBS:-2}

if ! command -v gcovr >/dev/null 2>&1; then
  echo "installing: gcovr"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq gcovr
fi

# -O0 keeps one counted line per source line; the benchmarks add nothing to coverage.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKVMCF_BUILD_BENCH=OFF \
  -DCMAKE_C_FLAGS="--coverage -O0" -DCMAKE_CXX_FLAGS="--coverage -O0" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build" -j "$jobs"
# Counts from an earlier run would add up with this one's.
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j "$jobs" --output-on-failure | tail -n 3

# Branches the compiler adds for exceptions and unreachable paths are not decisions
# of our code; leaving them in would drown the ones that are.
report=$build/coverage.json
gcovr --root . --object-directory "$build" \
  --filter '(api|records|image|calib|metadata|util)/' \
  --gcov-exclude '.*CompilerId.*' --exclude-throw-branches --exclude-unreachable-branches \
  --json-summary "$report" --json-summary-pretty --print-summary >"$build/coverage-summary.txt"

python3 - "$report" <<'PY'
import json, sys
data = json.load(open(sys.argv[1]))
def pct(covered, total):
    return 100.0 * covered / total if total else 100.0
print("coverage of api/ records/ image/ calib/ metadata/ util/:")
print("  lines    %6.2f%%  (%d of %d)" % (pct(data["line_covered"], data["line_total"]),
                                       data["line_covered"], data["line_total"]))
print("  branches %6.2f%%  (%d of %d)" % (pct(data["branch_covered"], data["branch_total"]),
                                       data["branch_covered"], data["branch_total"]))
folders = {}
for f in data["files"]:
    top = f["filename"].split("/")[0]
    c, t = folders.get(top, (0, 0))
    folders[top] = (c + f["line_covered"], t + f["line_total"])
for top in sorted(folders):
    c, t = folders[top]
    print("  %-9s %6.2f%% of %d lines" % (top + "/", pct(c, t), t))
low = [f for f in data["files"] if pct(f["line_covered"], f["line_total"]) < 90.0]
if low:
    print("files below 90% of lines:")
    for f in sorted(low, key=lambda f: pct(f["line_covered"], f["line_total"])):
        print("  %6.2f%%  %4d uncovered  %s" % (pct(f["line_covered"], f["line_total"]),
                                               f["line_total"] - f["line_covered"], f["filename"]))
PY
echo "per-file detail: gcovr --root . --object-directory $build --filter '(api|records|image|calib|metadata|util)/' --txt"
