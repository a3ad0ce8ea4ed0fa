#!/usr/bin/env bash
# The converter's speed: a file of CAM hex lines (100,000 by default) to JSON
# Lines with --jobs 1 and --jobs 2, beside the library's own rate on the same
# messages on one and two threads (build/tools/convspeed_lib: the bytes
# decoded up front, then etsi_CAM_to_json alone in a timed loop). The output
# goes to /dev/null; each figure is the best of five runs. Wall time is what
# counts on an idle machine; processor time (user + system) is given beside
# it because it changes less when other work shares the cores, and the load
# average is printed with the figures.
#   tools/convspeed.sh [build-dir] [count]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
count=${2:-100000}
conv=$build/tools/itsconv
lib=$build/tools/convspeed_lib
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The messages: the captured CAM and the CAMs of two JSON samples, in turn.
{
  cat "$root/tests/data/cam_captured_protocol1.uper.hex"
  "$conv" CAM from-json "$root/bench/data/cam.json" "$root/tests/data/cam_containers.json" 2>/dev/null
} > "$work/three.hex"
awk -v n="$count" '{ m[NR] = $0 } END { for (i = 0; i < n; i++) print m[i % NR + 1] }' \
  "$work/three.hex" > "$work/cams.hex"
"$conv" CAM to-json --lines "$work/cams.hex" > "$work/out.jsonl" 2>/dev/null
lines=$(wc -l < "$work/out.jsonl")
[ "$lines" -eq "$count" ] || { echo "expected $count JSON lines, got $lines"; exit 1; }

# "wall cpu" of the whole converter process, the best of five by wall time.
tool() {
  local TIMEFORMAT='%R %U %S'
  for _ in 1 2 3 4 5; do
    { time "$conv" CAM to-json --lines --jobs "$1" "$work/cams.hex" > /dev/null 2>&1; } 2>&1
  done | awk '{ if (best == "" || $1 < best) { best = $1; cpu = $2 + $3 } } END { print best, cpu }'
}
# "wall cpu" of the library's timed loop, the best of five by wall time.
library() {
  for _ in 1 2 3 4 5; do "$lib" CAM "$work/cams.hex" "$1"; done \
    | awk '{ for (i = 1; i < NF; i++) { if ($(i + 1) == "s" && $(i - 1) == "in") w = $i
                                        if ($(i - 1) == "time") c = $i }
             if (best == "" || w < best) { best = w; cpu = c } }
           END { print best, cpu }'
}
read -r l1 l1cpu <<< "$(library 1)"
read -r l2 l2cpu <<< "$(library 2)"
read -r t1 t1cpu <<< "$(tool 1)"
read -r t2 t2cpu <<< "$(tool 2)"
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) ($(nproc) cores)"
awk -v n="$count" -v l1="$l1" -v l1c="$l1cpu" -v l2="$l2" -v l2c="$l2cpu" \
    -v t1="$t1" -v t1c="$t1cpu" -v t2="$t2" -v t2c="$t2cpu" 'BEGIN {
  printf "%d CAM hex lines to JSON Lines (us per message: wall, processor)\n", n
  printf "  library, 1 thread  %8.0f messages/s  %5.2f  %5.2f\n", n / l1, l1 / n * 1e6, l1c / n * 1e6
  printf "  library, 2 threads %8.0f messages/s  %5.2f  %5.2f  (%.2fx one thread)\n", n / l2, l2 / n * 1e6, l2c / n * 1e6, l1 / l2
  printf "  itsconv --jobs 1   %8.0f messages/s  %5.2f  %5.2f  (+%.0f%% wall, +%.0f%% processor over the library; target <= 30%%)\n", n / t1, t1 / n * 1e6, t1c / n * 1e6, (t1 / l1 - 1) * 100, (t1c / l1c - 1) * 100
  printf "  itsconv --jobs 2   %8.0f messages/s  %5.2f  %5.2f  (%.2fx one job; target >= 1.8x)\n", n / t2, t2 / n * 1e6, t2c / n * 1e6, t1 / t2
}'
